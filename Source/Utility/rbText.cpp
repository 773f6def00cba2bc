// The source of a text and its byte views. The wide views are in rbTextUnicode.cpp.
#include "rbText.h"

#include "MyMemory.h"
#include "Source/SDK/GlueCode/HostOperations.h"
#include "rbData.h"
#include "rbDebug.h"
#include "rbTextViews.h"
#include "rbUtil.h"

#include <utility>

template <typename Visit>
void rbText::ForEachView(Visit visit)
{
    visit(windows);
    visit(macRoman);
    visit(ascii);
    visit(utf8);
    visit(latin1);
    visit(utf16);
    visit(utf32);
}

// Both constructors delegate to one that is complete, so that the destructor releases the source if the host throws.

rbText::rbText(REALstringStruct *string) : rbText()
{
    if (string == nullptr) {
        MakeAllEmpty();
        return;
    }
    TakeSource(string);
    encoding = REALGetStringEncoding(string);
    Classify();
}

rbText::rbText(const rbText &other) : rbText()
{
    if (other.source == nullptr) {
        MakeAllEmpty();
        return;
    }
    TakeSource(other.source);
    encoding = other.encoding;
    asciiState = other.asciiState;
    // The byte views of a 7-bit source are never converted one by one: they are its bytes.
    if (asciiState == kASCII) {
        asciiState = kToBeTested;
        TestASCII();
    }
}

void rbText::MakeAllEmpty()
{
    ForEachView([](auto &view) { MakeEmpty(view); });
}

// Takes a reference on the string, of which no view is converted yet.
void rbText::TakeSource(REALstringStruct *string)
{
    ForEachView([](auto &view) { view.length = -1; });
    source = string;
    held = AddReference(string);
}

rbText::~rbText() noexcept(false)
{
    if (guard1 != kGuard) TRACE("Check1 in rbText invalid", guard1);
    if (guard2 != kGuard) TRACE("Check2 in rbText invalid", guard2);
    Release(held);
    if (ownsViews) ReleaseViews();
}

// No view owns anything before the first one is about to.
void rbText::BeginOwning()
{
    if (ownsViews) return;
    ForEachView([](auto &view) {
        view.owned = nullptr;
        view.held = false;
    });
    ownsViews = true;
}

void rbText::ReleaseViews()
{
    ForEachView([](auto &view) {
        if (view.held) Releasing([&] { REALDisposeStringData(&view.data); });
        FreeMemoryNow(view.owned);
    });
}

void rbText::SetNext(rbText *text)
{
    if (next == nullptr) {
        next = text;
    } else {
        TRACE("Warning: Next already set!");
    }
}

void AddTextChain(rbText *&head, rbText *text)
{
    text->SetNext(head);
    head = text;
}

void FreeTextChain(rbText *head)
{
    while (head != nullptr)
        delete std::exchange(head, head->GetNext());
}

// What the encoding alone says of the source.
void rbText::Classify()
{
    asciiState = kNotTested;
    switch (encoding) {
    case kEncodingASCII:
        asciiState = kToBeTested;
        PointAtSource(ascii);
        if (ascii.length >= 0) {
            utf8.length = ascii.length;
            utf8.text = ascii.text;
        }
        break;
    case kEncodingUTF8:
        asciiState = kToBeTested;
        PointAtSource(utf8);
        break;
    case kEncodingMacRoman:
    case kEncodingLatin1:
    case kEncodingWindows:
        asciiState = kToBeTested;
        break;
    case kEncodingNone:
        asciiState = kToBeTested;
        AdoptTextWithoutEncoding();
        break;
    case kEncodingUTF16:
    case kEncodingUTF32:
    case 0x10000100: // the other UTF-16 and UTF-32 forms
    case 0x14000100:
    case 0x18000100:
    case 0x1C000100:
        asciiState = kNotASCII;
        break;
    default:
        break;
    }
}

// The view is the source's bytes; it stays unconverted when the host does not give them.
void rbText::PointAtSource(View<char> &view)
{
    StringBytes bytes = REALGetStringBytes(source);
    if (bytes.data == nullptr) return;
    view.text = bytes.data;
    view.length = bytes.size;
}

// A source of 7-bit bytes serves all byte views as it is.
void rbText::TestASCII()
{
    if (asciiState != kToBeTested) return;
    REALstringStruct *locked = AddReference(source);
    rbFreeLater unlock(&locked);
    auto [bytes, length] = REALGetStringBytes(source);
    if (bytes == nullptr) length = 0;
    if (!IsASCII(bytes, static_cast<unsigned long>(length))) {
        asciiState = kNotASCII;
        return;
    }
    asciiState = kASCII;
    for (View<char> *view : {&windows, &macRoman, &ascii, &utf8, &latin1}) {
        view->length = length;
        view->text = bytes != nullptr ? bytes : EmptyText<char>();
    }
}

// Bytes of no declared encoding that are not 7-bit are read as ISO Latin-1.
void rbText::AdoptTextWithoutEncoding()
{
    TestASCII();
    if (asciiState == kASCII) return;
    auto [bytes, length] = REALGetStringBytes(source);
    // The host is not asked for a text of a size that this library gets no memory for.
    MemoryOwner<char> trial = AllocateOwned<char>(length + 4);
    if (trial == nullptr) {
        TRACE("Out of Memory.");
        failed = true;
        return;
    }
    trial.reset();
    REALstringStruct *latin = REALBuildUnicodeString(bytes, length, kEncodingLatin1);
    if (latin == nullptr) {
        TRACE("REALBuildUnicodeString failed");
        failed = true;
        MakeAllEmpty();
        return;
    }
    source = latin;
    Release(std::exchange(held, latin));
}

const rbText::View<char> &rbText::ConvertBytes(View<char> &view, unsigned int code)
{
    MakeEmpty(view);
    TestASCII();
    if (asciiState == kASCII) return view;

    if (!FetchHostData(view, code)) {
        Fail("REALGetStringData failed.", view);
        return view;
    }
    UseHostData(view);
    Terminate(view);
    return view;
}
