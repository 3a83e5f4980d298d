// SPDX-License-Identifier: BSD-3-Clause
#include "stream/RankThreads.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <tuple>

namespace TEVRA::test {
namespace {

using Message = stream::ICommunicator::Message;

/// Letter boxes of all ranks.
class CPost {
  public:
    void Send(int from, int to, int tag, Message message) {
        const std::lock_guard lock(m_mutex);
        m_boxes[{from, to, tag}].push_back(std::move(message));
        m_arrived.notify_all();
    }
    Message Receive(int from, int to, int tag) {
        std::unique_lock lock(m_mutex);
        std::deque<Message>& box = m_boxes[{from, to, tag}];
        m_arrived.wait(lock, [&] { return !box.empty() || m_isClosed; });
        if (box.empty()) {
            throw std::runtime_error("another rank has failed");
        }
        Message message = std::move(box.front());
        box.pop_front();
        return message;
    }
    void Close() {
        const std::lock_guard lock(m_mutex);
        m_isClosed = true;
        m_arrived.notify_all();
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::map<std::tuple<int, int, int>, std::deque<Message>> m_boxes;
    bool m_isClosed = false;
};

class CRankThread : public stream::ICommunicator {
  public:
    CRankThread(CPost& post, int rank, int size) : m_post(post), m_rank(rank), m_size(size) {}

    int Rank() const override { return m_rank; }
    int Size() const override { return m_size; }
    int SizeOnThisMachine() const override { return m_size; }
    double WaitedSeconds() const override { return 0.0; }
    void Send(int to, int tag, Message message) override { m_post.Send(m_rank, to, tag, std::move(message)); }
    Message Receive(int from, int tag) override { return m_post.Receive(from, m_rank, tag); }
    void Flush() override {}
    double Smallest(double number) override {
        return combined<double>({&number, 1}, [](double a, double b) { return std::min(a, b); }).front();
    }
    double Largest(double number) override {
        return combined<double>({&number, 1}, [](double a, double b) { return std::max(a, b); }).front();
    }
    void AddUp(std::span<unsigned long long> counts) override {
        const auto sums = combined<unsigned long long>(counts, std::plus<>());
        std::copy(sums.begin(), sums.end(), counts.begin());
    }
    void Share(Message& message) override {
        if (m_rank != 0) {
            message = Receive(0, SHARED);
            return;
        }
        for (int to = 1; to < m_size; ++to) {
            Send(to, SHARED, message);
        }
    }
    void Meet() override {
        unsigned long long nothing = 0;
        AddUp({&nothing, 1});
    }
    void Abort(int /*status*/) override { m_post.Close(); }

  private:
    static constexpr int SHARED = 1000;
    static constexpr int COMBINED = 1001;

    template <typename T, typename CombineT>
    std::vector<T> combined(std::span<const T> own, const CombineT& combine) {
        std::vector<T> all(own.begin(), own.end());
        if (m_rank != 0) {
            Send(0, COMBINED, stream::MessageOf(own));
        }
        for (int from = 1; m_rank == 0 && from < m_size; ++from) {
            std::vector<T> theirs(own.size());
            stream::CopyMessage(Receive(from, COMBINED), std::as_writable_bytes(std::span(theirs)));
            std::transform(all.begin(), all.end(), theirs.begin(), all.begin(), combine);
        }
        Message message = stream::MessageOf(std::span<const T>(all));
        Share(message);
        stream::CopyMessage(message, std::as_writable_bytes(std::span(all)));
        return all;
    }

    CPost& m_post;
    int m_rank;
    int m_size;
};

} // namespace

void RunRanks(int ranks, const std::function<void(stream::ICommunicator&)>& work) {
    CPost post;
    std::mutex mutex;
    std::exception_ptr failure;
    std::vector<std::thread> threads;
    for (int rank = 0; rank < ranks; ++rank) {
        threads.emplace_back([&, rank] {
            CRankThread communicator(post, rank, ranks);
            try {
                work(communicator);
            } catch (...) {
                const std::lock_guard lock(mutex);
                failure = failure ? failure : std::current_exception();
                post.Close();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

SAnswer StreamedByRanks(const SCase& task, int ranks, const stream::SStreamResources& resources) {
    std::vector<SAnswer> parts(static_cast<std::size_t>(ranks));
    RunRanks(ranks, [&](stream::ICommunicator& communicator) {
        parts[static_cast<std::size_t>(communicator.Rank())] = Streamed(task, resources, &communicator);
    });
    // Every rank has filled in the maps of its own slices; zeros elsewhere.
    SAnswer answer = std::move(parts.front());
    for (std::size_t rank = 1; rank < parts.size(); ++rank) {
        for (std::vector<float> SAnswer::*const map :
             {&SAnswer::theta, &SAnswer::phi, &SAnswer::confidence}) {
            std::transform((answer.*map).begin(), (answer.*map).end(), (parts[rank].*map).begin(),
                           (answer.*map).begin(), std::plus<>());
        }
    }
    return answer;
}

} // namespace TEVRA::test
