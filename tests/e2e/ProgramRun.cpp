// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/ProgramRun.h"

#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace TEVRA::test {

namespace {

constexpr int EXEC_FAILED = 127;

[[noreturn]] void throw_errno(const char* what) {
    throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

struct SPipe {
    int readEnd = -1;
    int writeEnd = -1;
};

SPipe make_pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw_errno("pipe");
    }
    return {ends[0], ends[1]};
}

void apply(const SCircumstances& circumstances, int out, int err) {
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    dup2(err, STDERR_FILENO);
    if (circumstances.standardOutput) {
        dup2(open(circumstances.standardOutput->c_str(), O_WRONLY | O_CREAT, 0666), STDOUT_FILENO);
    } else {
        dup2(out, STDOUT_FILENO);
    }
    if (circumstances.standardOutputIsClosed) {
        close(STDOUT_FILENO);
    }
    if (circumstances.fileSizeLimit) {
        rlimit limit{};
        limit.rlim_cur = limit.rlim_max = static_cast<rlim_t>(*circumstances.fileSizeLimit);
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (chdir(circumstances.workingFolder.c_str()) != 0) {
        _exit(EXEC_FAILED);
    }
}

/// Reads both streams at once, so that neither fills up while the other is waited for.
void drain(int out, int err, SOutcome& outcome) {
    std::array<pollfd, 2> streams = {pollfd{out, POLLIN, 0}, pollfd{err, POLLIN, 0}};
    const std::array<std::string*, 2> texts = {&outcome.out, &outcome.err};
    while (streams[0].fd >= 0 || streams[1].fd >= 0) {
        if (poll(streams.data(), streams.size(), -1) < 0 && errno != EINTR) {
            throw_errno("poll");
        }
        for (std::size_t i = 0; i < streams.size(); ++i) {
            if (streams[i].fd < 0 || streams[i].revents == 0) {
                continue;
            }
            std::array<char, 4096> buffer{};
            const ssize_t count = read(streams[i].fd, buffer.data(), buffer.size());
            if (count > 0) {
                texts[i]->append(buffer.data(), static_cast<std::size_t>(count));
            } else if (count == 0 || errno != EINTR) {
                streams[i].fd = -1; // poll passes over it
            }
        }
    }
}

} // namespace

CProgramRun::CProgramRun(const std::vector<std::string>& arguments, const SCircumstances& circumstances) {
    std::vector<std::string> words = circumstances.launcher;
    words.emplace_back(TEVRA_PROGRAM);
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    const SPipe out = make_pipe();
    const SPipe err = make_pipe();
    if (circumstances.standardOutputIsBroken) {
        close(out.readEnd);
    }
    m_process = fork();
    if (m_process < 0) {
        throw_errno("fork");
    }
    if (m_process == 0) {
        apply(circumstances, out.writeEnd, err.writeEnd);
        execvp(argv[0], argv.data());
        _exit(EXEC_FAILED);
    }
    close(out.writeEnd);
    close(err.writeEnd);
    m_out = circumstances.standardOutputIsBroken ? -1 : out.readEnd;
    m_err = err.readEnd;
}

CProgramRun::~CProgramRun() {
    if (m_process > 0) {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
    for (const int stream : {m_out, m_err}) {
        if (stream >= 0) {
            close(stream);
        }
    }
}

void CProgramRun::Signal(int signal) const {
    kill(m_process, signal);
}

bool CProgramRun::HasEnded() const {
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(m_process), &info, WEXITED | WNOHANG | WNOWAIT); // leaves it to Wait
    return info.si_pid == m_process;
}

SOutcome CProgramRun::Wait() {
    SOutcome outcome;
    drain(m_out, m_err, outcome);
    int status = 0;
    rusage usage{};
    while (wait4(m_process, &status, 0, &usage) < 0) {
        if (errno != EINTR) {
            throw_errno("waitpid");
        }
    }
    m_process = -1;
    outcome.peakBytes = static_cast<std::size_t>(usage.ru_maxrss) * 1024;
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return outcome;
}

SOutcome RunTevra(const std::vector<std::string>& arguments, const SCircumstances& circumstances) {
    return CProgramRun(arguments, circumstances).Wait();
}

void ExpectRefusal(const std::vector<std::string>& arguments, int status,
                   const std::vector<std::string>& parts, const SCircumstances& circumstances) {
    const std::vector<std::string> before = CTemporaryFolder::EntriesOf(circumstances.workingFolder);
    const SOutcome outcome = RunTevra(arguments, circumstances);
    EXPECT_EQ(outcome.status, status) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, testing::MatchesRegex("tevra: error: [^\n]+\n"));
    for (const std::string& part : parts) {
        EXPECT_THAT(outcome.err, testing::HasSubstr(part));
    }
    EXPECT_EQ(CTemporaryFolder::EntriesOf(circumstances.workingFolder), before)
        << "something was left behind";
}

} // namespace TEVRA::test
