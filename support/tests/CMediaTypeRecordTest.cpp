#include "support/CMediaTypeRecord.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/CountingUnknown.h"
#include "tests/support/HResultAssertions.h"
#include "zqplatform/oleauto.h"

namespace {

using zqtest::CountingUnknown;

constexpr GUID kMajor = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID kFormat = {0x44444444, 0x5555, 0x6666, {8, 7, 6, 5, 4, 3, 2, 1}};
constexpr ULONG kBlockSize = 520;

void* RefuseAllocation(size_t) {
    return nullptr;
}

class CMediaTypeRecordTest : public ::testing::Test {
protected:
    void TearDown() override { CMediaTypeRecord::s_allocate = &CoTaskMemAlloc; }

    // A source as a host announces it: a block of its own and a counted pUnk.
    AM_MEDIA_TYPE MakeSource() {
        AM_MEDIA_TYPE source{};
        source.majortype = kMajor;
        source.formattype = kFormat;
        source.lSampleSize = 7;
        source.pUnk = &m_unknown;
        source.cbFormat = sizeof(m_sourceBlock);
        source.pbFormat = m_sourceBlock;
        for (size_t i = 0; i < sizeof(m_sourceBlock); ++i)
            m_sourceBlock[i] = static_cast<BYTE>(i);
        return source;
    }

    CountingUnknown m_unknown;
    BYTE m_sourceBlock[16] = {};
};

TEST_F(CMediaTypeRecordTest, StartsAndInitsAsAFixedSizeTypeOfOneByteWithNothingOwned) {
    AM_MEDIA_TYPE source = MakeSource();
    CMediaTypeRecord record;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(GUID_NULL, record.majortype);
        EXPECT_EQ(GUID_NULL, record.formattype);
        EXPECT_EQ(1u, record.lSampleSize);
        EXPECT_EQ(TRUE, record.bFixedSizeSamples);
        EXPECT_EQ(FALSE, record.bTemporalCompression);
        EXPECT_EQ(0u, record.cbFormat);
        EXPECT_EQ(nullptr, record.pbFormat);
        EXPECT_EQ(nullptr, record.pUnk);
        ASSERT_OK(record.Assign(&source));
        record.Free();
        record.Init();
    }
}

TEST_F(CMediaTypeRecordTest, AssignMakesADeepCopyThatFreeGivesBackOnce) {
    AM_MEDIA_TYPE source = MakeSource();
    CMediaTypeRecord record;
    ASSERT_OK(record.Assign(&source));
    EXPECT_EQ(kMajor, record.majortype);
    EXPECT_EQ(kFormat, record.formattype);
    EXPECT_EQ(7u, record.lSampleSize);
    EXPECT_EQ(source.cbFormat, record.cbFormat);
    EXPECT_NE(source.pbFormat, record.pbFormat);
    EXPECT_EQ(0, std::memcmp(source.pbFormat, record.pbFormat, source.cbFormat));
    EXPECT_EQ(1, m_unknown.References());

    // To itself: nothing moves, nothing is counted.
    BYTE* block = record.pbFormat;
    ASSERT_OK(record.Assign(&record));
    EXPECT_EQ(block, record.pbFormat);
    EXPECT_EQ(0, std::memcmp(source.pbFormat, record.pbFormat, source.cbFormat));
    EXPECT_EQ(1, m_unknown.References());

    // Again from the source: the first copy is given back first.
    ASSERT_OK(record.Assign(&source));
    EXPECT_EQ(1, m_unknown.References());

    record.Free();
    record.Free();
    EXPECT_EQ(0u, record.cbFormat);
    EXPECT_EQ(nullptr, record.pbFormat);
    EXPECT_EQ(nullptr, record.pUnk);
    EXPECT_EQ(kMajor, record.majortype) << "Free leaves the other fields";
    EXPECT_EQ(0, m_unknown.References());
    EXPECT_EQ(2, m_unknown.ReleaseCalls());
}

TEST_F(CMediaTypeRecordTest, AssignWithoutABlockKeepsTheSourcesPointerUnowned) {
    static BYTE borrowed[4];
    AM_MEDIA_TYPE source = MakeSource();
    source.cbFormat = 0;
    source.pbFormat = borrowed;
    source.pUnk = nullptr;
    CMediaTypeRecord record;
    ASSERT_OK(record.Assign(&source));
    EXPECT_EQ(0u, record.cbFormat);
    EXPECT_EQ(borrowed, record.pbFormat);
    record.Free();  // must not free what it doesn't own
    EXPECT_EQ(borrowed, record.pbFormat);
}

TEST_F(CMediaTypeRecordTest, AssignWithoutMemoryLeavesNoBlockAndNoReference) {
    AM_MEDIA_TYPE source = MakeSource();
    CMediaTypeRecord record;
    CMediaTypeRecord::s_allocate = &RefuseAllocation;
    EXPECT_HR(E_OUTOFMEMORY, record.Assign(&source));
    EXPECT_EQ(0u, record.cbFormat);
    EXPECT_EQ(nullptr, record.pbFormat);
    EXPECT_EQ(nullptr, record.pUnk);
    EXPECT_EQ(0, m_unknown.References());
}

TEST_F(CMediaTypeRecordTest, AllocFormatKeepsABlockOfThePresentSizeAndReplacesAnyOther) {
    CMediaTypeRecord record;
    ASSERT_NE(nullptr, record.AllocFormat(8));
    BYTE* block = record.AllocFormat(kBlockSize);
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(block, record.pbFormat);
    EXPECT_EQ(kBlockSize, record.cbFormat);
    std::memset(block, 0x5A, kBlockSize);
    EXPECT_EQ(block, record.AllocFormat(kBlockSize));
    EXPECT_EQ(0x5A, block[kBlockSize - 1]);
}

TEST_F(CMediaTypeRecordTest, AllocFormatWithoutMemoryServesOnlyFromALargeEnoughBlock) {
    CMediaTypeRecord record;
    BYTE* block = record.AllocFormat(kBlockSize);
    ASSERT_NE(nullptr, block);
    CMediaTypeRecord::s_allocate = &RefuseAllocation;

    EXPECT_EQ(nullptr, record.AllocFormat(kBlockSize + 1));
    EXPECT_EQ(block, record.pbFormat);
    EXPECT_EQ(kBlockSize, record.cbFormat);

    EXPECT_EQ(block, record.AllocFormat(16));
    EXPECT_EQ(kBlockSize, record.cbFormat) << "the record keeps the size it really owns";

    CMediaTypeRecord empty;
    EXPECT_EQ(nullptr, empty.AllocFormat(16));
    EXPECT_EQ(0u, empty.cbFormat);
}

TEST_F(CMediaTypeRecordTest, SampleSizeZeroMeansVariableAndKeepsTheOldSize) {
    CMediaTypeRecord record;
    record.SetSampleSize(44);
    EXPECT_EQ(44u, record.lSampleSize);
    EXPECT_EQ(TRUE, record.bFixedSizeSamples);
    record.SetSampleSize(0);
    EXPECT_EQ(44u, record.lSampleSize);
    EXPECT_EQ(FALSE, record.bFixedSizeSamples);
    record.SetSampleSize(2);
    EXPECT_EQ(TRUE, record.bFixedSizeSamples);
}

}  // namespace
