// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/Exception.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <typeinfo>

namespace TEVRA::test {

/// What an exception says, without the build stamp. A line of 0 in an expectation means "any".
struct SThrown {
    std::string text;
    std::string function;
    std::string source;
    std::int32_t line = 0;
};

inline std::ostream& operator<<(std::ostream& out, const SThrown& thrown) {
    return out << '"' << thrown.text << "\" from " << thrown.function << " in " << thrown.source << ':'
               << thrown.line;
}

/// Runs the operation and hands back what it threw; nothing, and a test failure, if it threw no exception of
/// exactly the class ExceptionT.
template <typename ExceptionT = CException, typename OperationT>
std::optional<SThrown> CaptureException(OperationT operation) {
    try {
        operation();
    } catch (const CException& e) {
        EXPECT_EQ(typeid(e).name(), std::string(typeid(ExceptionT).name())) << "message: " << e.what();
        return SThrown{e.Message(), e.Function(), e.Source(), e.Line()};
    } catch (const std::exception& e) {
        ADD_FAILURE() << "not a CException: " << e.what();
        return std::nullopt;
    }
    ADD_FAILURE() << "nothing was thrown";
    return std::nullopt;
}

/// Runs the operation and compares all that its exception says with what is expected.
///
///     ExpectThrown([&] { a += b; }, {"Tried to add 2-by-3 and 3-by-2 matrices",
///                                    "TEVRA::IMatrix<double>::operator +=", "src/Numeric/MatrixInterface",
///                                    130});
template <typename ExceptionT = CException, typename OperationT>
void ExpectThrown(OperationT operation, const SThrown& expected) {
    const std::optional<SThrown> thrown = CaptureException<ExceptionT>(operation);
    if (!thrown) {
        return;
    }
    EXPECT_EQ(thrown->text, expected.text);
    EXPECT_EQ(thrown->function, expected.function) << *thrown;
    EXPECT_EQ(thrown->source, expected.source) << *thrown;
    if (expected.line != 0) {
        EXPECT_EQ(thrown->line, expected.line) << *thrown;
    }
}

/// The text of the CException that the operation throws; empty, and a test failure, without one.
template <typename OperationT>
std::string MessageOf(OperationT operation) {
    const std::optional<SThrown> thrown = CaptureException(operation);
    return thrown ? thrown->text : std::string();
}

} // namespace TEVRA::test
