// The block scans against a byte-at-a-time reading, with the stop at every
// place in and around a block and at the very end.
#include "subrip/ByteRuns.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(ByteRuns, SevenBitRunEndsAtTheFirstStopOrHighByteWhereverItStands) {
    for (size_t size = 0; size <= 40; ++size) {
        for (size_t at = 0; at <= size; ++at) {
            for (unsigned char stop : {'\n', '\r', '\x80', '\xFF'}) {
                std::vector<unsigned char> bytes(size, 'a');
                if (at < size)
                    bytes[at] = stop;
                EXPECT_EQ(at, ZQSevenBitRun(bytes.data(), size, '\n', '\r', '\r'))
                    << "size " << size << " stop " << int(stop) << " at " << at;
            }
        }
    }
    const unsigned char nul[] = "0123456789abcdef0123\0x";
    EXPECT_EQ(20u, ZQSevenBitRun(nul, sizeof nul - 1, 0, 0, 0));
}

TEST(ByteRuns, WidenKeepsEveryByteAndTouchesNothingBehind) {
    std::string text;
    for (int i = 0; i < 37; ++i)
        text += static_cast<char>(0x20 + i * 2);
    for (size_t count = 0; count <= text.size(); ++count) {
        std::u16string out(text.size() + 1, u'#');
        ZQWidenSevenBit(reinterpret_cast<const unsigned char*>(text.data()), count, out.data());
        EXPECT_EQ(std::u16string(text.begin(), text.begin() + count), out.substr(0, count));
        EXPECT_EQ(std::u16string(out.size() - count, u'#'), out.substr(count));
    }
}

TEST(ByteRuns, FindNulUnitFindsTheFirstInAndAcrossBlocks) {
    for (size_t size = 0; size <= 20; ++size) {
        for (size_t at = 0; at <= size; ++at) {
            std::u16string text(size, u'\u0100');  // a high byte of 0x01, a low one of 0x00
            if (at < size) {
                text[at] = 0;
                if (at + 1 < size)
                    text[at + 1] = 0;
            }
            EXPECT_EQ(at, ZQFindNulUnit(text.data(), size)) << "size " << size << " at " << at;
        }
    }
}

}  // namespace
