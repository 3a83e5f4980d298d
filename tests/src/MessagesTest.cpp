// SPDX-License-Identifier: BSD-3-Clause
// Every message of the library: provoked through the operation that reports it, compared in exception type,
// text, function, source and, where it is fixed, line.
#include "Numeric/Matrix.h"
#include "zeklib2core/Exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

struct SMessage {
    std::string name; ///< of the test
    std::function<void()> provoke;
    std::string text;
    std::string source;
    std::string function;
    std::optional<std::int32_t> line;
};

void PrintTo(const SMessage& message, std::ostream* out) {
    *out << message.text;
}

using Messages = std::vector<SMessage>;

Messages matrix_messages() {
    const std::string matrixSource = "src/Numeric/Matrix";
    const std::string interfaceSource = "src/Numeric/MatrixInterface";
    const std::string access = "TEVRA::CMatrix<double>::operator ()";
    return {
        {"MatrixReadAccess",
         [] {
             const CMatrix<double> matrix(2, 3);
             matrix(4, 5);
         },
         "Index exceeds matrix bounds. Tried to access index (4,5) but Matrix size is 2-by-3", matrixSource,
         access, 83},
        {"MatrixWriteAccess",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix(4, 5) = 1.0;
         },
         "Index exceeds matrix bounds.Tried to access index (4,5) but Matrix size is 2-by-3", matrixSource,
         access, 91},
        {"MatrixProduct",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix *= CMatrix<double>(4, 5);
         },
         "Tried to multiply 2-by-3 *= 4-by-5 matrices", interfaceSource,
         "TEVRA::IMatrix<double>::operator *=", 85},
        {"MatrixSum",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix += CMatrix<double>(4, 5);
         },
         "Tried to add 2-by-3 and 4-by-5 matrices", interfaceSource,
         "TEVRA::IMatrix<double>::operator +=", 130},
        {"MatrixDifference",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix -= CMatrix<double>(4, 5);
         },
         "Tried to subtract 2-by-3 and 4-by-5 matrices", interfaceSource,
         "TEVRA::IMatrix<double>::operator -=", 145},
        {"MatrixAddRows",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix.AddRows(CMatrix<double>(4, 5));
         },
         "Tried to concatenate 5-dim rows to 3-dim rows", interfaceSource, "TEVRA::IMatrix<double>::AddRows",
         176},
        {"MatrixAddCols",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix.AddCols(CMatrix<double>(4, 5));
         },
         "Tried to concatenate 4-dim Cols to 2-dim Cols", interfaceSource, "TEVRA::IMatrix<double>::AddCols",
         209},
    };
}

Messages all_messages() {
    Messages all;
    for (const Messages& messages : {matrix_messages()}) {
        all.insert(all.end(), messages.begin(), messages.end());
    }
    return all;
}

class MessageTable : public testing::TestWithParam<SMessage> {};

INSTANTIATE_TEST_SUITE_P(Library, MessageTable, testing::ValuesIn(all_messages()),
                         [](const auto& message) { return message.param.name; });

} // namespace

TEST_P(MessageTable, IsReportedAsWritten) {
    const SMessage& expected = GetParam();
    try {
        expected.provoke();
        FAIL() << "nothing was thrown";
    } catch (const CException& exception) {
        EXPECT_TRUE(typeid(exception) == typeid(CException)) << "another class: " << typeid(exception).name();
        EXPECT_EQ(exception.Message(), expected.text);
        EXPECT_EQ(exception.Source(), expected.source);
        EXPECT_EQ(exception.Function(), expected.function);
        if (expected.line) {
            EXPECT_EQ(exception.Line(), *expected.line);
        } else {
            EXPECT_GT(exception.Line(), 0);
        }
        EXPECT_THAT(exception.BuildStamp(),
                    testing::MatchesRegex("[A-Z][a-z][a-z] [ 0-9][0-9] [0-9][0-9][0-9][0-9]-"
                                          "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
    }
}

} // namespace TEVRA
