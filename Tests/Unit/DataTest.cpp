// Byte views, memory blocks and the guard that releases them.
#include "Source/SDK/GlueCode/HostOperations.h"
#include "Source/Utility/rbData.h"
#include "Source/Utility/rbDebug.h"
#include "Source/Utility/rbMemoryBlock.h"
#include "Tests/Unit/Faults.h"
#include "Tests/Unit/OnHost.h"

#include <cstring>
#include <memory>

namespace {

class Data : public OnHost {
  protected:
    void SetUp() override { StartHost(); }
};

REALmemoryBlockStruct *Block(const Object &object)
{
    return AsMemoryBlock(object.Get());
}

} // namespace

TEST_F(Data, AViewKeepsItsValueAndShowsItsBytes)
{
    String string(host::NewString("abc"));
    auto view = std::make_unique<rbData>(string.Get());
    string = String();
    EXPECT_EQ(std::string_view(static_cast<const char *>(view->data), view->size), "abc");
    EXPECT_TRUE(IsASCIIText(*view));
    view.reset();

    rbData nothing(static_cast<REALstringStruct *>(nullptr));
    EXPECT_EQ(nothing.data, nullptr);
    EXPECT_EQ(nothing.size, 0U);
    gDebugging = true; // and the log names the next one
    EXPECT_EQ(CaptureLog([] { EXPECT_EQ(rbData(nullptr, 5).size, 0U); }),
              Lines{"VYN Debug: data is NULL, so size fixed to zero."});
}

TEST_F(Data, AViewOfABlockNeverReachesPastItsEnd)
{
    Object block(host::NewMemoryBlock("0123456789", 10));
    struct Row {
        std::uint64_t offset, length;
        std::string bytes;
    };
    constexpr std::uint64_t kMost = ~std::uint64_t{0};
    const Row rows[] = {{0, 0, "0123456789"}, {0, 4, "0123"}, {0, 10, "0123456789"}, {0, 11, "0123456789"},
                        {4, 0, "456789"},     {9, 1, "9"},    {9, 2, "9"},           {10, 0, ""},
                        {10, 1, ""},          {11, 3, ""},    {kMost, kMost, ""},    {1, kMost, "123456789"}};
    for (const Row &row : rows) {
        rbData view(Block(block), row.offset, row.length);
        EXPECT_EQ(std::string(static_cast<const char *>(view.data), view.size), row.bytes) << row.offset;
    }
    rbData nothing(static_cast<REALmemoryBlockStruct *>(nullptr), 0, 0);
    EXPECT_EQ(nothing.size, 0U);
}

TEST_F(Data, ChainsFindTheirValuesAndReleaseThem)
{
    String first(host::NewString("1")), second(host::NewString("2"));
    Object block(host::NewMemoryBlock("3", 1));
    rbData *head = nullptr;
    AddDataChain(head, NewData(first.Get()));
    AddDataChain(head, NewData(second.Get()));
    AddDataChain(head, NewData(Block(block), 0, 0));
    EXPECT_EQ(head->memoryBlock, Block(block));
    EXPECT_EQ(RecylceData(head, first.Get()), head->next->next);
    EXPECT_EQ(RecylceData(head, Block(block)), head);
    EXPECT_EQ(RecylceData(head, static_cast<REALstringStruct *>(nullptr)), head); // a view without a string
    FreeDataChain(head);
}

TEST_F(Data, AViewWithoutMemoryIsNone)
{
    if (!faults::kAllocationsCanFail) GTEST_SKIP() << "the sanitizers' allocators do not fail";
    String string(host::NewString("1"));
    for (bool logged : {false, true}) {
        gDebugging = logged;
        faults::FailAllocation(1);
        EXPECT_EQ(NewData(string.Get()), nullptr);
    }
}

TEST_F(Data, ALeakedViewLeavesItsLockToTheCaller)
{
    String string(host::NewString("abc"));
    {
        gDebugging = true;
        rbData view(string.Get());
        EXPECT_EQ(CaptureLog([&] { view.leak(); }), Lines{"VYN Debug: leak"});
    }
    host::Release(string.Get()); // the lock that the view took
}

TEST_F(Data, BlocksAreBuiltWithTheBytesGiven)
{
    auto bytes = reinterpret_cast<const unsigned char *>("payload");
    Object block(AsObject(REALBuildMemoryblock(bytes, 7)));
    EXPECT_EQ(MyREALMemoryBlockGetSize(Block(block)), 7);
    EXPECT_EQ(myREALMemoryBlockGetSize(Block(block)), 7);
    EXPECT_EQ(MyREALMemoryBlockGetPtr(Block(block)), myREALMemoryBlockGetPtr(Block(block)));
    EXPECT_EQ(std::memcmp(MyREALMemoryBlockGetPtr(Block(block)), "payload", 7), 0);

    EXPECT_EQ(MyREALMemoryBlockGetSize(Block(Object(AsObject(REALBuildMemoryblock(bytes, 1))))), 1);
    EXPECT_EQ(REALBuildMemoryblock(bytes, 0), nullptr);
    EXPECT_EQ(REALBuildMemoryblock(bytes, -1), nullptr);
    EXPECT_EQ(REALBuildMemoryblock(nullptr, 5), nullptr);
    EXPECT_EQ(MyREALNewMemoryBlock(-1), nullptr);
    EXPECT_NE(Object(AsObject(MyREALNewMemoryBlock(0))).Get(), nullptr);
    for (auto address : {MyREALMemoryBlockGetPtr, myREALMemoryBlockGetPtr})
        EXPECT_EQ(address(nullptr), nullptr);
    for (auto size : {MyREALMemoryBlockGetSize, myREALMemoryBlockGetSize})
        EXPECT_EQ(size(nullptr), 0);
    EXPECT_TRUE(running->exceptions.Raised().empty());

    int number = 0;
    for (auto wrap : {MyREALPtrToMemoryBlock, myREALPtrToMemoryBlock}) {
        EXPECT_EQ(wrap(nullptr), nullptr);
        Object wrapped(AsObject(wrap(&number)));
        EXPECT_EQ(MyREALMemoryBlockGetPtr(Block(wrapped)), &number);
    }
}

TEST_F(OnHost, ABlockThatCannotBeMadeIsAnException)
{
    for (const char *entry : {"REALLoadObjectMethod", "memoryBlockGetPtr", "memoryBlockGetSize"}) {
        EXPECT_EQ(program::InChild([&] {
                      StartHost({.without = {entry}});
                      REALBuildMemoryblock(reinterpret_cast<const unsigned char *>("payload"), 7);
                      Object(running->exceptions.TakePending());
                      return running->exceptions.Raised().at(0).Text() + running->Complaints();
                  }),
                  "OutOfMemoryException: Failed to allocate a memoryblock with 7 bytes in size.");
    }
}

TEST_F(Data, TheGuardReleasesWhatTheVariablesHoldThen)
{
    REALobjectStruct *object = host::NewMemoryBlock("1", 1);
    REALstringStruct *string = host::NewString("1"), *null = nullptr;
    {
        rbFreeLater both(&object, &string);
        rbFreeLater none(nullptr, nullptr);
        rbFreeLater empty(nullptr, &null);
    }
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(string, nullptr);
}
