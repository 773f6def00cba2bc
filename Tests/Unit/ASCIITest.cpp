#include "Source/Utility/rbUtilASCII.h"

#include "Source/Utility/CpuFeatures.h"
#include "Source/Utility/rbUtil.h"

#include <gtest/gtest.h>
#include <vector>

// Every form that can run here.
static std::vector<bool (*)(const char *, std::size_t)> Forms()
{
#if defined(__x86_64__)
    if (HasAVX2()) return {IsASCIIPortable, IsASCIISSE2, IsASCIIAVX2, IsASCII};
    return {IsASCIIPortable, IsASCIISSE2, IsASCII};
#else
    return {IsASCIIPortable, IsASCIINEON, IsASCII};
#endif
}

TEST(ASCII, OneByteOf128OrMoreIsFoundAtEveryPlaceOfEveryLength)
{
    for (auto isASCII : Forms()) {
        for (std::size_t count = 0; count <= 300; count++) {
            std::vector<char> bytes(count + 2, '\x7F');
            bytes.front() = bytes.back() = '\x80'; // just outside on both sides
            char *text = bytes.data() + 1;
            ASSERT_TRUE(isASCII(text, count)) << count;
            for (std::size_t place = 0; place < count; place++) {
                text[place] = '\x80';
                ASSERT_FALSE(isASCII(text, count)) << place << " of " << count;
                text[place] = '\x7F';
            }
        }
    }
    EXPECT_TRUE(IsASCII(nullptr, 0));
}
