#include "support/CMediaTypeRecord.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/CountingUnknown.h"
#include "tests/support/HResultAssertions.h"
#include "zqplatform/oleauto.h"

namespace {

constexpr GUID kMajor = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr ULONG kBlockSize = 520;

void* RefuseAllocation(size_t) {
    return nullptr;
}

class CMediaTypeRecordTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_source.majortype = kMajor;
        m_source.lSampleSize = 7;
        m_source.pUnk = &m_unknown;
        m_source.cbFormat = sizeof(m_block);
        m_source.pbFormat = m_block;
        for (size_t i = 0; i < sizeof(m_block); ++i)
            m_block[i] = static_cast<BYTE>(i);
    }
    void TearDown() override { CMediaTypeRecord::s_allocate = &CoTaskMemAlloc; }

    zqtest::CountingUnknown m_unknown;
    BYTE m_block[16] = {};
    AM_MEDIA_TYPE m_source{};
};

TEST_F(CMediaTypeRecordTest, AssignMakesADeepCopyThatFreeGivesBackOnce) {
    CMediaTypeRecord record;
    ASSERT_OK(record.Assign(&m_source));
    EXPECT_EQ(kMajor, record.majortype);
    EXPECT_EQ(7u, record.lSampleSize);
    EXPECT_EQ(m_source.cbFormat, record.cbFormat);
    EXPECT_NE(m_source.pbFormat, record.pbFormat);
    EXPECT_EQ(0, std::memcmp(m_source.pbFormat, record.pbFormat, m_source.cbFormat));
    EXPECT_EQ(1, m_unknown.References());

    // To itself: nothing moves, nothing is counted.
    BYTE* block = record.pbFormat;
    ASSERT_OK(record.Assign(&record));
    EXPECT_EQ(block, record.pbFormat);
    EXPECT_EQ(0, std::memcmp(m_source.pbFormat, record.pbFormat, m_source.cbFormat));
    EXPECT_EQ(1, m_unknown.References());

    // Again from the source: the first copy is given back first.
    ASSERT_OK(record.Assign(&m_source));
    EXPECT_EQ(1, m_unknown.References());
    record.Free();
    record.Free();
    EXPECT_EQ(0u, record.cbFormat);
    EXPECT_EQ(nullptr, record.pbFormat);
    EXPECT_EQ(nullptr, record.pUnk);
    EXPECT_EQ(kMajor, record.majortype) << "Free leaves the other fields";
    EXPECT_EQ(0, m_unknown.References());
    EXPECT_EQ(2, m_unknown.ReleaseCalls());

    // Without a block, the source's pointer is kept and never freed.
    static BYTE borrowed[4];
    m_source.cbFormat = 0;
    m_source.pbFormat = borrowed;
    ASSERT_OK(record.Assign(&m_source));
    EXPECT_EQ(borrowed, record.pbFormat);
    record.Free();
    EXPECT_EQ(borrowed, record.pbFormat);
}

TEST_F(CMediaTypeRecordTest, WithoutMemoryNothingLeaksAndOnlyALargeEnoughBlockServes) {
    CMediaTypeRecord record;
    CMediaTypeRecord::s_allocate = &RefuseAllocation;
    EXPECT_HR(E_OUTOFMEMORY, record.Assign(&m_source));
    EXPECT_EQ(0u, record.cbFormat);
    EXPECT_EQ(nullptr, record.pbFormat);
    EXPECT_EQ(nullptr, record.pUnk);
    EXPECT_EQ(0, m_unknown.References());
    EXPECT_EQ(nullptr, record.AllocFormat(16));
    EXPECT_EQ(0u, record.cbFormat);

    CMediaTypeRecord::s_allocate = &CoTaskMemAlloc;
    ASSERT_NE(nullptr, record.AllocFormat(8));
    BYTE* block = record.AllocFormat(kBlockSize);
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(block, record.pbFormat);
    EXPECT_EQ(kBlockSize, record.cbFormat);
    std::memset(block, 0x5A, kBlockSize);
    EXPECT_EQ(block, record.AllocFormat(kBlockSize));
    EXPECT_EQ(0x5A, block[kBlockSize - 1]);

    CMediaTypeRecord::s_allocate = &RefuseAllocation;
    EXPECT_EQ(nullptr, record.AllocFormat(kBlockSize + 1));
    EXPECT_EQ(block, record.pbFormat);
    EXPECT_EQ(kBlockSize, record.cbFormat);
    EXPECT_EQ(block, record.AllocFormat(16));
    EXPECT_EQ(kBlockSize, record.cbFormat) << "the record keeps the size it really owns";
}

}  // namespace
