// SPDX-License-Identifier: BSD-3-Clause
// The one file that knows MPI.
#include "stream/Communicator.h"

#include "stream/Launcher.h"

#include "VexoBase/ProgressMonitor.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <mpi.h>
#include <thread>
#include <utility>

namespace TEVRA::stream {
namespace {

using Message = ICommunicator::Message;
using Clock = std::chrono::steady_clock;

/// MPI counts in int; longer messages travel in parts.
constexpr std::size_t MOST_BYTES = std::size_t{1} << 30;

/// A message on its way.
struct SSending {
    std::uint64_t bytes;
    Message message;
    std::vector<MPI_Request> parts{};
};

class CMpiCommunicator : public ICommunicator {
  public:
    CMpiCommunicator() {
        int provided = 0;
        MPI_Init_thread(nullptr, nullptr, MPI_THREAD_FUNNELED, &provided);
        MPI_Comm_rank(MPI_COMM_WORLD, &m_rank);
        MPI_Comm_size(MPI_COMM_WORLD, &m_size);
        MPI_Comm machine = MPI_COMM_NULL;
        MPI_Comm_split_type(MPI_COMM_WORLD, MPI_COMM_TYPE_SHARED, m_rank, MPI_INFO_NULL, &machine);
        MPI_Comm_size(machine, &m_sizeOnMachine);
        MPI_Comm_free(&machine);
    }
    ~CMpiCommunicator() override { MPI_Finalize(); }

    int Rank() const override { return m_rank; }
    int Size() const override { return m_size; }
    int SizeOnThisMachine() const override { return m_sizeOnMachine; }

    void Send(int to, int tag, Message message) override {
        while (!m_sendings.empty() && has_left(m_sendings.front())) {
            m_sendings.pop_front();
        }
        m_sendings.push_back({message.size(), std::move(message)});
        SSending& sending = m_sendings.back();
        start(sending, &sending.bytes, sizeof sending.bytes, to, tag);
        for (std::size_t at = 0; at < sending.message.size(); at += MOST_BYTES) {
            start(sending, sending.message.data() + at, std::min(MOST_BYTES, sending.message.size() - at), to,
                  tag);
        }
    }

    Message Receive(int from, int tag) override {
        std::uint64_t bytes = 0;
        receive(&bytes, sizeof bytes, from, tag);
        Message message(bytes);
        for (std::size_t at = 0; at < message.size(); at += MOST_BYTES) {
            receive(message.data() + at, std::min(MOST_BYTES, message.size() - at), from, tag);
        }
        return message;
    }

    void Flush() override {
        for (SSending& sending : m_sendings) {
            for (MPI_Request& part : sending.parts) {
                wait(part);
            }
        }
        m_sendings.clear();
    }

    double Smallest(double number) override { return reduced(number, MPI_MIN); }
    double Largest(double number) override { return reduced(number, MPI_MAX); }

    void AddUp(std::span<unsigned long long> counts) override {
        MPI_Request request = MPI_REQUEST_NULL;
        MPI_Iallreduce(MPI_IN_PLACE, counts.data(), static_cast<int>(counts.size()), MPI_UNSIGNED_LONG_LONG,
                       MPI_SUM, MPI_COMM_WORLD, &request);
        wait(request);
    }

    void Share(Message& message) override {
        std::uint64_t bytes = message.size();
        broadcast(&bytes, sizeof bytes);
        message.resize(bytes);
        for (std::size_t at = 0; at < message.size(); at += MOST_BYTES) {
            broadcast(message.data() + at, std::min(MOST_BYTES, message.size() - at));
        }
    }

    void Meet() override {
        MPI_Request request = MPI_REQUEST_NULL;
        MPI_Ibarrier(MPI_COMM_WORLD, &request);
        wait(request);
    }

    void Abort(int status) override { MPI_Abort(MPI_COMM_WORLD, status); }
    double WaitedSeconds() const override { return m_waitedSeconds; }

  private:
    static void start(SSending& sending, const void* data, std::size_t bytes, int to, int tag) {
        sending.parts.push_back(MPI_REQUEST_NULL);
        MPI_Isend(data, static_cast<int>(bytes), MPI_BYTE, to, tag, MPI_COMM_WORLD, &sending.parts.back());
    }

    static bool has_left(SSending& sending) {
        int hasLeft = 0;
        MPI_Testall(static_cast<int>(sending.parts.size()), sending.parts.data(), &hasLeft,
                    MPI_STATUSES_IGNORE);
        return hasLeft != 0;
    }

    void receive(void* data, std::size_t bytes, int from, int tag) {
        MPI_Request request = MPI_REQUEST_NULL;
        MPI_Irecv(data, static_cast<int>(bytes), MPI_BYTE, from, tag, MPI_COMM_WORLD, &request);
        wait(request);
    }

    void broadcast(void* data, std::size_t bytes) {
        MPI_Request request = MPI_REQUEST_NULL;
        MPI_Ibcast(data, static_cast<int>(bytes), MPI_BYTE, 0, MPI_COMM_WORLD, &request);
        wait(request);
    }

    double reduced(double number, MPI_Op operation) {
        MPI_Request request = MPI_REQUEST_NULL;
        double result = number;
        MPI_Iallreduce(&number, &result, 1, MPI_DOUBLE, operation, MPI_COMM_WORLD, &request);
        wait(request);
        return result;
    }

    /// Waits, but not deaf: a stop that is asked for leaves as the monitor's exception. After it the process
    /// must end without talking to others.
    void wait(MPI_Request& request) {
        constexpr std::chrono::microseconds LONGEST_NAP{500};
        const Clock::time_point start = Clock::now();
        std::chrono::microseconds nap{1};
        for (int isDone = 0; isDone == 0;) {
            MPI_Test(&request, &isDone, MPI_STATUS_IGNORE);
            if (isDone == 0) {
                CProgressMonitor::Obj().CancelRequested();
                std::this_thread::sleep_for(nap);
                nap = std::min(2 * nap, LONGEST_NAP);
            }
        }
        m_waitedSeconds += std::chrono::duration<double>(Clock::now() - start).count();
    }

    int m_rank = 0;
    int m_size = 1;
    int m_sizeOnMachine = 1;
    double m_waitedSeconds = 0.0;
    std::deque<SSending> m_sendings;
};

} // namespace

std::unique_ptr<ICommunicator> StartedProcesses() {
    // MPI takes a while to start, and a process on its own has nobody to talk to.
    if (LaunchedProcesses() == 1) {
        return SingleProcess();
    }
    return std::make_unique<CMpiCommunicator>();
}

} // namespace TEVRA::stream
