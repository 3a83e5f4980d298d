// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/Exception.h"

#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace TEVRA {
namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

static_assert(std::is_nothrow_copy_constructible_v<CException>);
static_assert(std::is_nothrow_copy_constructible_v<CExBadParam>);
static_assert(std::is_nothrow_copy_constructible_v<CExBadType>);
static_assert(std::has_virtual_destructor_v<CException>);
static_assert(std::is_base_of_v<IVectorizable, CException>);
static_assert(std::is_base_of_v<std::exception, CException>);

constexpr Impl::StExLocation LOCATION{"Feb  3 2016-19:04:44", "src/Numeric/MatrixInterface",
                                      "TEVRA::CMatrix<double>::operator ()", 83, nullptr};

TEST(ExceptionLocation, KeepsTheOrderOfItsFields) {
    const auto& [buildStamp, sourceFile, function, line, reserved] = LOCATION;
    EXPECT_STREQ(buildStamp, "Feb  3 2016-19:04:44");
    EXPECT_STREQ(sourceFile, "src/Numeric/MatrixInterface");
    EXPECT_STREQ(function, "TEVRA::CMatrix<double>::operator ()");
    EXPECT_EQ(line, 83);
    EXPECT_EQ(reserved, nullptr);
    static_assert(std::is_same_v<decltype(Impl::StExLocation::line), std::int32_t>);
    static_assert(sizeof(Impl::StExLocation::reserved) == sizeof(void*));
}

TEST(ExceptionLocation, IsFilledAtTheThrowSite) {
    const Impl::StExLocation here = TEVRA_LOCATION("tests/here", "TEVRA::here", __LINE__);
    EXPECT_EQ(here.line, __LINE__ - 1);
    EXPECT_STREQ(here.sourceFile, "tests/here");
    EXPECT_STREQ(here.function, "TEVRA::here");
    EXPECT_EQ(here.reserved, nullptr);
}

TEST(ExceptionLocation, StampsTheTimeOfCompilation) {
    const Impl::StExLocation here = TEVRA_LOCATION("", "", 0);
    EXPECT_THAT(here.buildStamp, MatchesRegex("(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) "
                                              "[ 1-3][0-9] [0-9][0-9][0-9][0-9]"
                                              "-[0-2][0-9]:[0-5][0-9]:[0-6][0-9]"));
}

TEST(Exception, SaysWhatHappenedAndWhere) {
    const CException exception(LOCATION, "Index exceeds matrix bounds.");
    EXPECT_STREQ(exception.what(), "Index exceeds matrix bounds.");
    EXPECT_EQ(exception.Message(), "Index exceeds matrix bounds.");
    EXPECT_EQ(exception.Source(), "src/Numeric/MatrixInterface");
    EXPECT_EQ(exception.Function(), "TEVRA::CMatrix<double>::operator ()");
    EXPECT_EQ(exception.Line(), 83);
    EXPECT_EQ(exception.BuildStamp(), "Feb  3 2016-19:04:44");
}

TEST(Exception, ReportsWithoutALocation) {
    const CException exception("CLocalFiberDirectionsPlugin", "Need equal pixel spacing.", nullptr);
    EXPECT_STREQ(exception.what(), "Need equal pixel spacing.");
    EXPECT_EQ(exception.Source(), "CLocalFiberDirectionsPlugin");
    EXPECT_EQ(exception.Function(), "");
    EXPECT_EQ(exception.Line(), 0);
    EXPECT_EQ(exception.BuildStamp(), "");
    EXPECT_EQ(CException("source", "message", "function").Function(), "function");
}

TEST(Exception, ReadsNullTextsAsEmpty) {
    const CException exception(Impl::StExLocation{}, nullptr);
    EXPECT_STREQ(exception.what(), "");
    EXPECT_EQ(exception.Source(), "");
}

TEST(Exception, OutlivesTheTextsItWasMadeFrom) {
    const auto make = [] {
        const std::string message = "a message longer than any small buffer of a string";
        const std::string source = "a source file path longer than any small buffer";
        return CException(Impl::StExLocation{"", source.c_str(), "", 1, nullptr}, message.c_str());
    };
    const CException exception = make();
    EXPECT_STREQ(exception.what(), "a message longer than any small buffer of a string");
    EXPECT_EQ(exception.Source(), "a source file path longer than any small buffer");
}

TEST(Exception, CopiesSayTheSame) {
    const CException original(LOCATION, "first");
    CException assigned("source", "second", "function");
    assigned = original;
    const CException copy(original); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.Vectorize(), original.Vectorize());
    EXPECT_EQ(assigned.Vectorize(), original.Vectorize());
}

TEST(Exception, DescribesItselfAsAListOfTexts) {
    EXPECT_THAT(CException(LOCATION, "message").Vectorize(),
                ElementsAre("message", "src/Numeric/MatrixInterface", "TEVRA::CMatrix<double>::operator ()",
                            "83", "Feb  3 2016-19:04:44"));
}

template <typename CaughtT, typename ThrownT>
bool is_caught_as(const ThrownT& thrown) {
    try {
        throw ThrownT(thrown);
    } catch (const CaughtT& caught) {
        return dynamic_cast<const CException&>(caught).Message() == thrown.Message();
    } catch (...) {
        return false;
    }
}

TEST(Exception, IsCaughtAsEachOfItsBases) {
    const CException exception(LOCATION, "message");
    EXPECT_TRUE(is_caught_as<CException>(exception));
    EXPECT_TRUE(is_caught_as<IVectorizable>(exception));
    EXPECT_TRUE(is_caught_as<std::exception>(exception));
    EXPECT_FALSE(is_caught_as<CExBadParam>(exception));
}

TEST(ExBadParam, IsAnExceptionOfItsOwnClass) {
    const CExBadParam exception(LOCATION, "bad parameter");
    EXPECT_STREQ(exception.what(), "bad parameter");
    EXPECT_EQ(exception.Line(), 83);
    EXPECT_TRUE(is_caught_as<CExBadParam>(exception));
    EXPECT_TRUE(is_caught_as<CException>(exception));
    EXPECT_TRUE(is_caught_as<IVectorizable>(exception));
    EXPECT_TRUE(is_caught_as<std::exception>(exception));
    EXPECT_FALSE(is_caught_as<CExBadType>(exception));
}

TEST(ExBadType, NamesTheKindOfTheValue) {
    const CValueDouble number(1.0);
    const CExBadType exception(LOCATION, &number);
    EXPECT_STREQ(exception.what(), "The value is of the wrong type: double.");
    EXPECT_EQ(exception.Function(), "TEVRA::CMatrix<double>::operator ()");
    const CValueMap map;
    EXPECT_STREQ(CExBadType(LOCATION, &map).what(), "The value is of the wrong type: map.");
    EXPECT_STREQ(CExBadType(LOCATION, nullptr).what(), "The value is missing.");
    EXPECT_TRUE(is_caught_as<CExBadType>(exception));
    EXPECT_TRUE(is_caught_as<CException>(exception));
    EXPECT_FALSE(is_caught_as<CExBadParam>(exception));
}

} // namespace
} // namespace TEVRA
