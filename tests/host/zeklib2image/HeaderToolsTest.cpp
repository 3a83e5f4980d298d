// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/HeaderTools.h"

#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueVector.h"
#include "zeklib2image/Image.h"
#include "zeklib2image/ImageExtraction.h"

#include <gtest/gtest.h>

#include <memory>

namespace TEVRA {
namespace {

class HeaderTools : public ::testing::Test {
  protected:
    /// What GetSpacing leaves in three numbers preset to 7.
    struct SSpacing {
        bool found;
        double x = 7.0;
        double y = 7.0;
        double z = 7.0;
    };
    SSpacing spacing() const {
        SSpacing result{};
        result.found = CVexoHeaderTools::GetSpacing(m_image, result.x, result.y, result.z);
        return result;
    }
    void expect_none() const {
        const SSpacing result = spacing();
        EXPECT_FALSE(result.found);
        EXPECT_EQ(result.x, 7.0);
        EXPECT_EQ(result.y, 7.0);
        EXPECT_EQ(result.z, 7.0);
    }

    CImage m_image{IMAGE_GREY_8, CSize(2, 2, 2), CSize(0, 0, 0)};
};

TEST_F(HeaderTools, FindNoSpacingInABareImageAndWriteNothing) {
    expect_none();
}

TEST_F(HeaderTools, GiveBackTheSpacingThatWasSet) {
    CVexoHeaderTools::SetSpacing(m_image, 0.5, 0.25, 2.0);
    const SSpacing result = spacing();
    EXPECT_TRUE(result.found);
    EXPECT_EQ(result.x, 0.5);
    EXPECT_EQ(result.y, 0.25);
    EXPECT_EQ(result.z, 2.0);
    CVexoHeaderTools::SetSpacing(m_image, 0.0, -1.0, 3.0);
    EXPECT_EQ(spacing().y, -1.0) << "judging the numbers is the caller's";
}

TEST_F(HeaderTools, TakeAThirdSpacingThatIsLeftOutAsOne) {
    CVexoHeaderTools::SetMetaInfo(m_image, "spacing",
                                  CValueVector(new CValueDouble(0.5), new CValueDouble(0.25)));
    const SSpacing result = spacing();
    EXPECT_TRUE(result.found);
    EXPECT_EQ(result.x, 0.5);
    EXPECT_EQ(result.y, 0.25);
    EXPECT_EQ(result.z, 1.0);
}

TEST_F(HeaderTools, TakeNoOtherEntryForASpacing) {
    CVexoHeaderTools::SetMetaInfo(m_image, "spacing", CValueDouble(0.5));
    expect_none();
    CVexoHeaderTools::SetMetaInfo(m_image, "spacing", CValueVector());
    expect_none();
    CVexoHeaderTools::SetMetaInfo(m_image, "spacing",
                                  CValueVector(new CValueDouble(0.5), new CValueString("mm", CString::NPOS)));
    expect_none();
}

TEST_F(HeaderTools, StoreACopyOfAMetadataEntry) {
    CValueVector range(new CValueDouble(-1.0), new CValueDouble(3.5));
    CVexoHeaderTools::SetMetaInfo(m_image, CVexoHeaderTools::c_sMetaMinMax.c_str(), range);
    range.Entry(0)->Double() = 9.0;
    const CValue* stored = CVexoHeaderTools::GetMetaInfo(m_image, CVexoHeaderTools::c_sMetaMinMax.c_str());
    ASSERT_NE(stored, nullptr);
    EXPECT_TRUE(stored->EqualData(CValueVector(new CValueDouble(-1.0), new CValueDouble(3.5))));
    CVexoHeaderTools::SetMetaInfo(m_image, CVexoHeaderTools::c_sMetaMinMax.c_str(), CValueLong(1));
    EXPECT_EQ(CVexoHeaderTools::GetMetaInfo(m_image, CVexoHeaderTools::c_sMetaMinMax.c_str())->Long(), 1);
    EXPECT_EQ(CVexoHeaderTools::GetMetaInfo(m_image, "missing"), nullptr);
}

TEST_F(HeaderTools, HaveAKeyForTheValueRangeBesideTheSpacing) {
    EXPECT_FALSE(CVexoHeaderTools::c_sMetaMinMax.empty());
    CVexoHeaderTools::SetSpacing(m_image, 0.5, 0.5, 0.5);
    CVexoHeaderTools::SetMetaInfo(m_image, CVexoHeaderTools::c_sMetaMinMax.c_str(), CValueLong(1));
    EXPECT_TRUE(spacing().found);
}

TEST_F(HeaderTools, FindTheMetadataInAClone) {
    CVexoHeaderTools::SetSpacing(m_image, 0.5, 0.25, 2.0);
    const std::unique_ptr<CImage> clone(CImageExtraction::Clone(m_image));
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    EXPECT_TRUE(CVexoHeaderTools::GetSpacing(*clone, x, y, z));
    EXPECT_EQ(z, 2.0);
}

} // namespace
} // namespace TEVRA
