// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Failure.h"

#include "apps/Interruption.h"
#include "apps/PrintableText.h"
#include "jobs/MessageNames.h"
#include "stream/Failure.h"

#include <exception>
#include <new>
#include <ostream>

namespace TEVRA::apps {

namespace {

std::string on_one_line(const std::string& message) {
    std::string line;
    for (const char c : message) {
        const bool blank = c == '\n' || c == '\r' || c == ' ';
        if (!blank) {
            line += c;
        } else if (!line.empty() && line.back() != ' ') {
            line += ' ';
        }
    }
    if (line.ends_with(' ')) {
        line.pop_back();
    }
    return PrintableText(line);
}

} // namespace

void PrintError(std::ostream& errors, const std::string& message) {
    errors << "tevra: error: " << on_one_line(jobs::WithNames(message)) << std::endl;
}

void PrintWarning(std::ostream& errors, const std::string& message) {
    errors << "tevra: warning: " << on_one_line(jobs::WithNames(message)) << std::endl;
}

int RunGuarded(const std::function<void()>& work, std::ostream& errors) {
    try {
        work();
        return STATUS_DONE;
    } catch (const CInterrupted& interruption) {
        PrintError(errors, "stopped by the user; no output was written");
        return 128 + interruption.Signal();
    } catch (const CAlreadyReported& failure) {
        return failure.Status();
    } catch (const CUsageError& failure) {
        PrintError(errors, failure.what());
        return STATUS_WRONG_USAGE;
    } catch (const stream::CMemoryLimitError& failure) {
        PrintError(errors,
                   std::string(failure.what()) + "; give more --memory, fewer --threads or larger subfields");
        return STATUS_FAILED;
    } catch (const stream::CScratchError& failure) {
        PrintError(errors,
                   std::string(failure.what()) + "; give another folder with --scratch, or more --memory");
        return STATUS_FAILED;
    } catch (const std::bad_alloc&) {
        PrintError(errors,
                   "not enough memory; analyse a smaller part of the image or use a machine with more "
                   "memory");
        return STATUS_FAILED;
    } catch (const std::exception& failure) {
        PrintError(errors, failure.what());
        return STATUS_FAILED;
    }
}

} // namespace TEVRA::apps
