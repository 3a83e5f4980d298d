// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Failure.h"

#include "jobs/MessageNames.h"

#include "apps/Interruption.h"
#include "zeklib2core/Exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <new>
#include <sstream>

namespace TEVRA::apps {
namespace {

struct SOutcome {
    int status;
    std::string errors;
};

SOutcome outcome_of(const std::function<void()>& work) {
    std::ostringstream errors;
    const int status = RunGuarded(work, errors);
    return {status, errors.str()};
}

TEST(RunGuarded, WorkThatSucceedsIsSilentAndDone) {
    const SOutcome outcome = outcome_of([] {});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
}

TEST(RunGuarded, AFailureIsOneLineAndStatus1) {
    const SOutcome outcome = outcome_of([] { throw CWorkError("cannot read 'a.tif'"); });
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "tevra: error: cannot read 'a.tif'\n");
}

TEST(RunGuarded, AFileIsNamedAsItsUserKnowsIt) {
    jobs::NameInMessages("out/.tmp-1-theta", "out/theta");
    jobs::NameInMessages("out/.tmp-1-theta.mha", "link.mha");
    const SOutcome outcome = outcome_of(
        [] { throw CWorkError("out/.tmp-1-theta.mha: full, as is out/.tmp-1-theta: free some space"); });
    EXPECT_EQ(outcome.errors, "tevra: error: link.mha: full, as is out/theta: free some space\n");
    std::ostringstream warnings;
    PrintWarning(warnings, "no room for out/.tmp-1-theta");
    EXPECT_EQ(warnings.str(), "tevra: warning: no room for out/theta\n");
}

TEST(RunGuarded, WrongUsageIsStatus2) {
    const SOutcome outcome = outcome_of([] { throw CUsageError("--threads: '0' is not right"); });
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors, "tevra: error: --threads: '0' is not right\n");
}

TEST(RunGuarded, AnExceptionOfTheHostShowsItsMessage) {
    const SOutcome outcome =
        outcome_of([] { throw CException("source", "Only 2d and 3d images supported.", nullptr); });
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "tevra: error: Only 2d and 3d images supported.\n");
}

TEST(RunGuarded, ExhaustedMemorySaysWhatToDo) {
    const SOutcome outcome = outcome_of([] { throw std::bad_alloc(); });
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors, testing::StartsWith("tevra: error: not enough memory; "));
}

TEST(RunGuarded, AnInterruptionHasTheStatusOfItsSignal) {
    EXPECT_EQ(outcome_of([] { throw CInterrupted(SIGINT); }).status, 130);
    EXPECT_EQ(outcome_of([] { throw CInterrupted(SIGTERM); }).status, 143);
}

TEST(PrintError, LineBreaksBecomeBlanks) {
    std::ostringstream errors;
    PrintError(errors, "\nfirst\r\n  second\n");
    EXPECT_EQ(errors.str(), "tevra: error: first second\n");
}

} // namespace
} // namespace TEVRA::apps
