// The library as a program: it prints its version and ends.
//
// The loader named here comes with the library file as with any program and fills in what the code needs
// of libc before it enters; nothing else of a program's start-up runs.
#include "Source/SDK/GlueCode/PluginMain.h"
#include "Source/SDK/GlueCode/Version.h"

#include <cstddef>
#include <unistd.h>

#if defined(__x86_64__)
#define LOADER "/lib64/ld-linux-x86-64.so.2"
// The system enters with the stack of a jump, not of a call, eight bytes off what functions count on.
#define PROGRAM_ENTRY __attribute__((force_align_arg_pointer))
#elif defined(__aarch64__)
#define LOADER "/lib/ld-linux-aarch64.so.1"
#define PROGRAM_ENTRY
#endif

extern "C" {

EXPORTED extern const char elf_interpreter[];
__attribute__((section(".interp"), used)) const char elf_interpreter[] = LOADER;

[[noreturn]] EXPORTED PROGRAM_ENTRY void libEntry();
}

static constexpr char banner[] = "VYN Plugin, version " PLUGIN_VERSION ", built " PLUGIN_DATE "\n";
static constexpr std::size_t kBannerSize = sizeof banner - 1;
static_assert(kBannerSize == 44);

void libEntry()
{
    [[maybe_unused]] ssize_t written = write(STDOUT_FILENO, banner, kBannerSize);
    _exit(0);
}
