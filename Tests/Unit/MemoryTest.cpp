#include "Source/Utility/MyMemory.h"
#include "Tests/Unit/Faults.h"

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <malloc.h>

TEST(Memory, BlocksAreZeroFilledAndAbsurdSizesAreNull)
{
    for (long size : {0L, -1L, -5L, LONG_MIN, LONG_MAX})
        EXPECT_EQ(AllocateClearMemory(size), nullptr) << size;
    void *one = AllocateClearMemory(1);
    EXPECT_NE(one, nullptr);
    FreeMemoryNow(one);
    auto block = static_cast<unsigned char *>(AllocateClearMemory(300));
    for (int i = 0; i < 300; i++)
        ASSERT_EQ(block[i], 0);
    FillMemory(block, 0xFE, 300);
    block[10] = 1;
    MoveMemory(block + 11, block + 10, 100); // the ranges overlap
    EXPECT_EQ(block[11], 1);
    ClearMemory(block, 300);
    EXPECT_EQ(block[299], 0);
    FreeMemoryNow(ReallocateMemory(block, 10));
}

TEST(Memory, HandlesKnowTheirSizeAndKeepTheirData)
{
    EXPECT_EQ(allocateHandle(-1), nullptr);
    EXPECT_EQ(getHandleSize(nullptr), 0);
    EXPECT_EQ(lockHandle(nullptr), nullptr);
    char **empty = allocateHandle(0);
    EXPECT_NE(empty, nullptr);
    freeHandle(empty);

    char **handle = allocateHandle(5);
    std::memcpy(lockHandle(handle), "abcd", 5);
    handle = resizeHandle(handle, 100);
    EXPECT_EQ(getHandleSize(handle), 100);
    EXPECT_STREQ(lockHandle(handle), "abcd");
    EXPECT_EQ(resizeHandle(handle, LONG_MAX - 100), nullptr); // and the block is as it was
    EXPECT_EQ(getHandleSize(handle), 100);
    unlockHandle(handle);
    EXPECT_EQ(resizeHandle(handle, -1), nullptr); // which frees it
    auto used = mallinfo2().uordblks;
    freeHandle(allocateHandle(100000));
    EXPECT_EQ(mallinfo2().uordblks, used);

    if (!faults::kAllocationsCanFail) return;
    faults::FailAllocation(1);
    EXPECT_EQ(allocateHandle(5), nullptr);
}
