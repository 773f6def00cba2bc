// What the byte views and the wide views of a text share. Only the two files of rbText include it.
#pragma once

#include "MyMemory.h"
#include "Source/SDK/GlueCode/HostOperations.h"
#include "rbDebug.h"
#include "rbText.h"

#include <algorithm>
#include <cstring>
#include <utility>

template <typename Unit>
const Unit *EmptyText()
{
    static constexpr Unit zero = 0;
    return &zero;
}

template <typename Unit>
void rbText::MakeEmpty(View<Unit> &view)
{
    view.length = 0;
    view.text = EmptyText<Unit>();
}

// Asks the host for its data in this encoding, to be given back when the text ends.
template <typename Unit>
bool rbText::FetchHostData(View<Unit> &view, unsigned int code)
{
    BeginOwning();
    view.data = {};
    view.held = REALGetStringData(source, code, &view.data);
    return view.held;
}

// Data of less than one unit is no text, for no zero need follow it. Data at an address where no unit may lie is
// copied.
template <typename Unit>
void rbText::UseHostData(View<Unit> &view)
{
    const void *data = view.data.data;
    long length = view.data.length / static_cast<long>(sizeof(Unit));
    if (data == nullptr || length <= 0) return;
    view.length = length;
    view.text = static_cast<const Unit *>(data);
    if (reinterpret_cast<std::uintptr_t>(data) % alignof(Unit) != 0) CopyText(view);
}

template <typename Unit>
void rbText::Fail(const char *message, View<Unit> &view)
{
    TRACE(message);
    failed = true;
    MakeEmpty(view);
}

// A zero-filled buffer for `units` units and a terminating zero, which replaces the view's own; null without memory.
template <typename Unit>
Unit *rbText::Own(View<Unit> &view, long units)
{
    void *buffer = AllocateClearMemory(units * static_cast<long>(sizeof(Unit)) + 4);
    if (buffer == nullptr) return nullptr;
    BeginOwning();
    FreeMemoryNow(view.owned);
    view.owned = buffer;
    return static_cast<Unit *>(buffer);
}

// Puts a copy of the view's text, with a zero after it, in its place.
template <typename Unit>
void rbText::CopyText(View<Unit> &view)
{
    const void *text = view.text;
    Unit *copy = Own(view, view.length);
    if (copy == nullptr) return Fail("Out of memory", view);
    std::memcpy(copy, text, static_cast<std::size_t>(view.length) * sizeof(Unit));
    view.text = copy;
}

// A host may hand out text without a zero after it.
template <typename Unit>
void rbText::Terminate(View<Unit> &view)
{
    if (view.length < 1 || view.text[view.length] == 0) return;
    TRACE("String is not zero terminated. Fixed.");
    CopyText(view);
}
