// A record as programs receive it: an array of CEPROPVAL and behind it what its members point to.
#pragma once

#include "host/coredll/StoreImage.h"
#include "host/coredll/StoreSqlite.h"

namespace wkt::host {

// A block from where LocalAlloc takes them, with all properties of a record.
struct RecordBlock {
  BYTE* bytes = nullptr;
  DWORD byteCount = 0;
  WORD propertyCount = 0;
};

// Bytes of the block with all properties of an image, from the image's length and at least its
// first kHeadBytes; 0 when they cannot be those of one. Tells how many properties there are.
size_t BlockBytes(std::string_view head, size_t imageBytes, uint32_t& count);
// Fills the array at the block's beginning; the `dataBytes` bytes of the image's data stand behind
// it already. The entries may end there. False when the image is damaged. Checks what keeps all
// pointers inside the block and no more, which is less than RecordImage::Parse: this is done for
// every record read.
bool FillArray(const void* entries, uint32_t count, size_t dataBytes, BYTE* block);
// Both for an image at hand.
bool FillBlock(std::string_view image, uint32_t count, BYTE* block);
// Nothing inside when there is no memory or the image is damaged.
RecordBlock MakeBlock(std::string_view image);

// The same of the image that `images` stands on, read into its place; SQLite's code. `count` is the
// number of properties that the one before had, and then that of this one.
int ReadBlock(const StoreImages& images, uint32_t& count, RecordBlock& block);

// One value to `place`, which need not be aligned. `data` is where in the block the image's data
// from offset `start` on lies.
void PutValue(const RecordImage::Entry& entry, BYTE* data, uint32_t start, BYTE* place);

}  // namespace wkt::host
