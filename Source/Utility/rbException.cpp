#include "rbException.h"

#include "MyMemory.h"
#include "Source/SDK/GlueCode/HostOperations.h"
#include "rbData.h"
#include "rbDebug.h"
#include "rbUtil.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cxxabi.h>
#include <mutex>
#include <new>
#include <pthread.h>
#include <stdexcept>
#include <utility>

void RaiseException(const char *className, REALstringStruct *message, long errorNumber)
{
    REALobjectStruct *exception = REALnewInstance(className);
    if (exception == nullptr) exception = REALnewInstance("RuntimeException");
    if (exception == nullptr) return;
    rbFreeLater release(&exception);

    REALSetPropValueString(exception, "Message", message);
    REALSetPropValueInteger(exception, "ErrorNumber", errorNumber);
    REALRaiseException(exception);
}

void RaiseException(const char *className, REALstringStruct *part1, REALstringStruct *part2, REALstringStruct *part3)
{
    REALstringStruct *start = REALAddStrings(part1, part2);
    rbFreeLater releaseStart(&start);
    REALstringStruct *message = REALAddStrings(start, part3);
    rbFreeLater releaseMessage(&message);
    RaiseException(className, message);
}

void RaiseException(const char *className, const char *part1, const char *part2, const char *part3,
                    unsigned int encoding)
{
    REALstringStruct *first = CString2RB(part1, encoding);
    rbFreeLater releaseFirst(&first);
    REALstringStruct *second = CString2RB(part2, encoding);
    rbFreeLater releaseSecond(&second);
    REALstringStruct *third = CString2RB(part3, encoding);
    rbFreeLater releaseThird(&third);
    RaiseException(className, first, second, third);
}

void RaiseException(const char *className, const char *message, unsigned int, long errorNumber)
{
    REALstringStruct *text = CString2RB(message, kEncodingUTF8);
    rbFreeLater release(&text);
    RaiseException(className, text, errorNumber);
}

void RaiseFormatted(const char *className, const char *format, ...)
{
    char message[500];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    RaiseException(className, message);
}

void RaiseOutOfBoundsException(long value, long minimum, long end, const char *parameterName, const char *methodName)
{
    const char *name = parameterName != nullptr ? parameterName : "?";
    const char *method = methodName != nullptr ? methodName : "";
    std::size_t size = std::strlen(name) + 200 + std::strlen(method);
    MemoryOwner<char> message = AllocateOwned<char>(static_cast<long>(size));
    if (message == nullptr) return RaiseException("OutOfBoundsException", "Out of Bounds");
    long long maximum = static_cast<long long>(static_cast<unsigned long>(end) - 1);
    std::snprintf(message.get(), size, "The parameter %s %s%s is too %s. Range is %lld to %lld, but value is %lld.",
                  name, *method != 0 ? "to method " : "", method, value < minimum ? "small" : "big",
                  static_cast<long long>(minimum), maximum, static_cast<long long>(value));
    RaiseException("OutOfBoundsException", message.get());
}

namespace {

template <typename Native>
bool Is(const std::exception &error)
{
    return dynamic_cast<const Native *>(&error) != nullptr;
}

// What a native exception becomes; the first row that matches decides.
constexpr struct {
    bool (*matches)(const std::exception &error);
    const char *messageStart;
    const char *className;
} exceptionRows[] = {
    {Is<std::bad_alloc>, "Failed to allocate memory", "OutOfMemoryException"},
    {Is<std::range_error>, "C++ reports range error", "OutOfBoundsException"},
    {Is<std::out_of_range>, "C++ reports range error", "OutOfBoundsException"},
    {Is<std::overflow_error>, "C++ reports overflow error", "OutOfBoundsException"},
    {Is<std::underflow_error>, "C++ reports underflow error", "OutOfBoundsException"},
    {[](const std::exception &) { return true; }, "C++ Exception", "RuntimeException"},
};

} // namespace

void RaiseRuntimeException(const std::exception &error)
{
    auto row = exceptionRows;
    while (!row->matches(error))
        row++;

    const char *what = error.what();
    bool hasText = what != nullptr && *what != 0;
    std::size_t size = std::strlen(row->messageStart) + (hasText ? std::strlen(what) : 0) + 3;
    // Memory may have just run out. Only a text that does not fit here needs the heap, and without it that is cut.
    char shortMessage[512];
    MemoryOwner<char> longMessage;
    if (size > sizeof shortMessage) longMessage = AllocateOwned<char>(static_cast<long>(size));
    if (longMessage == nullptr) size = sizeof shortMessage;
    char *message = longMessage != nullptr ? longMessage.get() : shortMessage;
    std::snprintf(message, size, "%s%s%s", row->messageStart, hasText ? ": " : ".", hasText ? what : "");
    RaiseException(row->className, message);
}

namespace {

// Marks this thread as raising for as long as it lives. The threads that raise form a list on their stacks.
// Thread-local storage would need space that a library loaded late may not get, or memory, which may just have run out.
class RaisingThread {
  public:
    RaisingThread()
    {
        std::lock_guard guard(mutex);
        next = std::exchange(first, this);
    }
    RaisingThread(const RaisingThread &) = delete;
    RaisingThread &operator=(const RaisingThread &) = delete;
    ~RaisingThread()
    {
        std::lock_guard guard(mutex);
        RaisingThread **link = &first;
        while (*link != this)
            link = &(*link)->next;
        *link = next;
    }

    static bool IsThisOne()
    {
        std::lock_guard guard(mutex);
        const RaisingThread *one = first;
        while (one != nullptr && !pthread_equal(one->thread, pthread_self()))
            one = one->next;
        return one != nullptr;
    }

  private:
    static std::mutex mutex;
    static RaisingThread *first;

    pthread_t thread = pthread_self();
    RaisingThread *next;
};

constinit std::mutex RaisingThread::mutex;
constinit RaisingThread *RaisingThread::first = nullptr;

} // namespace

void RaiseCaughtException()
{
    if (RaisingThread::IsThisOne()) throw;

    RaisingThread raising;
    try {
        throw;
    } catch (const abi::__forced_unwind &) {
        throw; // a thread that is cancelled
    } catch (const std::exception &error) {
        RaiseRuntimeException(error);
    } catch (...) {
        TRACE("Unnamed C++ Exception.");
        RaiseException("RuntimeException", "Sorry, but there was an unnamed C++ Exception.");
    }
}

void RaiseReleaseException()
{
    try {
        RaiseCaughtException();
    } catch (const abi::__forced_unwind &) {
        throw;
    } catch (...) {
        TRACE("An exception was lost while another was told.");
    }
}
