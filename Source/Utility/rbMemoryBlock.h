// Memory blocks of the host: null-safe access, and new ones of a given size or with given bytes.
//
// New blocks carry one reference for the caller. There are two ways to each answer: the "MyREAL"
// functions ask the host directly, the "myREAL" ones go through the block's own methods and properties.
#pragma once

#include "Source/SDK/GlueCode/HostTypes.h"

// A block's bytes and size; null and 0 for a null block.
void *MyREALMemoryBlockGetPtr(REALmemoryBlockStruct *m);
long MyREALMemoryBlockGetSize(REALmemoryBlockStruct *m);
void *myREALMemoryBlockGetPtr(REALmemoryBlockStruct *m);
long myREALMemoryBlockGetSize(REALmemoryBlockStruct *m);

// A new block of `size` bytes; null for a negative size or when the host can't make it. An exception
// that the host raises meanwhile is dropped.
REALmemoryBlockStruct *MyREALNewMemoryBlock(long size);
REALmemoryBlockStruct *myREALNewMemoryBlock(long size);

// What REALNewMemoryBlockWork is asked for and answers.
struct NewMemoryBlockRecord {
    long size;
    REALmemoryBlockStruct *result;
};
void REALNewMemoryBlockWork(void *record);

// A block around bytes that stay somebody else's; null for a null pointer.
REALmemoryBlockStruct *MyREALPtrToMemoryBlock(void *p);
REALmemoryBlockStruct *myREALPtrToMemoryBlock(void *p);

// A new block with a copy of `size` bytes. Null without data or with a size below 1; when the host can't
// make the block, "OutOfMemoryException" is raised and the result is null.
REALmemoryBlockStruct *REALBuildMemoryblock(const unsigned char *data, long size);
