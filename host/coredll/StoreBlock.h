// A record as programs receive it: an array of CEPROPVAL and behind it what its members point to.
#pragma once

#include "host/coredll/StoreImage.h"

namespace wkt::host {

// A block from where LocalAlloc takes them, with all properties of a record.
struct RecordBlock {
  BYTE* bytes = nullptr;
  DWORD byteCount = 0;
  WORD propertyCount = 0;
};

// Bytes of the block with all properties of an image; 0 when the bytes cannot be one.
size_t BlockBytes(std::string_view image);
// Fills them. False when the image is damaged. Checks what keeps all pointers inside the block and
// no more, which is less than RecordImage::Parse: this is done for every record read.
bool FillBlock(std::string_view image, BYTE* block);
// Nothing inside when there is no memory or the image is damaged.
RecordBlock MakeBlock(std::string_view image);

// One value to `place`, which need not be aligned. `data` is where in the block the image's data
// from offset `start` on lies.
void PutValue(const RecordImage::Entry& entry, BYTE* data, uint32_t start, BYTE* place);

}  // namespace wkt::host
