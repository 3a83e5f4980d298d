// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/KilledRun.h"

#include "support/TemporaryFolder.h"

#include <chrono>
#include <system_error>
#include <thread>

namespace TEVRA::test {

namespace {

namespace fs = std::filesystem;

/// Of one attempt.
std::optional<SOutcome> killed_in_time(const SKilledRun& run) {
    // Nice to this process, which must not wait for a processor when the records are there.
    const std::string command =
        "echo $$ > pid${OMPI_COMM_WORLD_RANK:-0}; renice -n 19 $$ > /dev/null; " + run.command;
    CProgramRun started(run.arguments, {.workingFolder = run.workingFolder,
                                        .launcher = ShellLauncher(run.processes, command)});
    while (!started.HasEnded() && ResumeRecords(run.workingFolder) < run.processes) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (!started.HasEnded()) {
        const fs::path last = run.workingFolder / ("pid" + std::to_string(run.processes - 1));
        kill(std::stoi(ReadFile(last)), run.signal);
    }
    SOutcome outcome = started.Wait();
    for (int process = 0; process < run.processes; ++process) {
        fs::remove(run.workingFolder / ("pid" + std::to_string(process)));
    }
    const bool isInTime = outcome.status != 0 && ResumeRecords(run.workingFolder) == run.processes;
    return isInTime ? std::optional(std::move(outcome)) : std::nullopt;
}

} // namespace

int ResumeRecords(const fs::path& folder) {
    int count = 0;
    std::error_code ignored;
    for (fs::recursive_directory_iterator entry(folder, ignored), end; entry != end;
         entry.increment(ignored)) {
        const std::string name = entry->path().filename().string();
        const bool isRecord = name.starts_with(".tevra-resume") && !name.ends_with(".scratch") &&
                              !name.ends_with(".new") && !name.ends_with(".lock");
        count += isRecord ? 1 : 0;
    }
    return count;
}

std::vector<std::string> ShellLauncher(int processes, const std::string& command) {
    std::vector<std::string> words = {"sh", "-c", command, "sh"};
    if (processes > 1) {
        words.insert(words.begin(), {"mpirun", "--oversubscribe", "-n", std::to_string(processes)});
    }
    return words;
}

std::optional<SOutcome> RunUntilKilled(const SKilledRun& run) {
    constexpr int ATTEMPTS = 5;
    std::optional<SOutcome> outcome;
    for (int attempt = 0; attempt < ATTEMPTS && !outcome; ++attempt) {
        fs::remove_all(run.workingFolder / "out");
        outcome = killed_in_time(run);
    }
    return outcome;
}

} // namespace TEVRA::test
