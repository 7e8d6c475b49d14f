// Scratch memory: blocks usable over their whole length, and the aligned base
// of a block (low bits cleared, then the alignment added) inside the block's
// margin for every address offset.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "frame/scratch.h"

namespace {

TEST(Scratch, BlocksAreWritableAndFreed) {
  for (std::size_t bytes : {std::size_t(1), std::size_t(4096), std::size_t(901248)}) {
    void *block = tav::scratch_alloc(bytes);
    ASSERT_NE(block, nullptr) << bytes;
    std::memset(block, 0xA5, bytes);
    EXPECT_EQ(static_cast<unsigned char *>(block)[bytes - 1], 0xA5);
    tav::scratch_free(block);
  }
  tav::scratch_free(nullptr);  // ignored
}

TEST(Scratch, AlignedBaseIsOneToAlignBytesAbove) {
  alignas(64) static unsigned char area[256];
  for (int offset = 0; offset < 128; ++offset) {
    unsigned char *p = area + offset;
    unsigned char *b32 = tav::scratch_base(p);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(b32) % 32, 0u) << offset;
    EXPECT_GE(b32 - p, 1) << offset;
    EXPECT_LE(b32 - p, 32) << offset;
    unsigned char *b64 = tav::scratch_base<64>(p);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(b64) % 64, 0u) << offset;
    EXPECT_GE(b64 - p, 1) << offset;
    EXPECT_LE(b64 - p, 64) << offset;
  }
  // An address already aligned moves a whole step up.
  EXPECT_EQ(tav::scratch_base(area), area + 32);
  EXPECT_EQ(tav::scratch_base<64>(area), area + 64);
}

}  // namespace
