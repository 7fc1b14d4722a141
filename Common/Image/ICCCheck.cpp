#include "Image/ICCCheck.h"

namespace px {

namespace {

constexpr size_t kSizeAt = 0;
constexpr size_t kVersionAt = 8;
constexpr size_t kSignatureAt = 36;
constexpr size_t kTagCountAt = kICCHeaderBytes;
constexpr size_t kTagTableAt = kTagCountAt + 4;
constexpr size_t kTagBytes = 12;
constexpr uint32_t kMaxTags = 100;              // what Little CMS keeps in its directory
constexpr uint8_t kMaxVersion = 5;              // major version
constexpr uint32_t kICCSignature = 0x61637370;  // 'acsp'

}  // namespace

uint32_t ReadICC32(const uint8_t* bytes, size_t offset)
{
    return uint32_t{bytes[offset]} << 24 | uint32_t{bytes[offset + 1]} << 16 |
           uint32_t{bytes[offset + 2]} << 8 | uint32_t{bytes[offset + 3]};
}

bool IsConsistentICC(const uint8_t* bytes, size_t size)
{
    if (!bytes || size < kTagTableAt) return false;
    const uint64_t declared = ReadICC32(bytes, kSizeAt);
    if (declared < kTagTableAt || declared > size) return false;
    if (ReadICC32(bytes, kSignatureAt) != kICCSignature) return false;
    if (bytes[kVersionAt] > kMaxVersion) return false;
    const uint64_t tagCount = ReadICC32(bytes, kTagCountAt);
    const uint64_t tagsEnd = kTagTableAt + tagCount * kTagBytes;
    if (tagCount == 0 || tagCount > kMaxTags || tagsEnd > declared) return false;
    for (uint64_t tag = 0; tag < tagCount; ++tag) {
        const size_t entry = kTagTableAt + static_cast<size_t>(tag) * kTagBytes;
        const uint64_t offset = ReadICC32(bytes, entry + 4);
        const uint64_t length = ReadICC32(bytes, entry + 8);
        if (offset < tagsEnd || offset + length > declared) return false;
    }
    return true;
}

}  // namespace px
