// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

namespace TEVRA::stream {

/// The processes that share one analysis, each with a range of slices: rank 0 the first, the last rank the
/// last ones. All calls come from the thread that made the object.
class ICommunicator {
  public:
    using Message = std::vector<std::byte>;

    ICommunicator() = default;
    ICommunicator(const ICommunicator&) = delete;
    ICommunicator& operator=(const ICommunicator&) = delete;
    virtual ~ICommunicator();

    virtual int Rank() const = 0;
    virtual int Size() const = 0;
    /// How many of the processes run on this machine, this one included.
    virtual int SizeOnThisMachine() const = 0;
    bool IsFirst() const { return Rank() == 0; }
    bool IsLast() const { return Rank() == Size() - 1; }

    /// Sends a message and returns at once. Messages of one sender and tag arrive in order.
    virtual void Send(int to, int tag, Message message) = 0;
    /// Waits for a message.
    virtual Message Receive(int from, int tag) = 0;
    /// Returns when all messages sent have left.
    virtual void Flush() = 0;

    /// The smallest of the numbers that the ranks give; the same on every rank, as are those below.
    virtual double Smallest(double number) = 0;
    virtual double Largest(double number) = 0;
    /// Replaces counts by their sums over all ranks.
    virtual void AddUp(std::span<unsigned long long> counts) = 0;
    /// Replaces everybody's message by that of rank 0.
    virtual void Share(Message& message) = 0;
    /// Returns when all ranks have called it.
    virtual void Meet() = 0;
    /// Ends the processes of all ranks.
    virtual void Abort(int status) = 0;
    /// How long this process has waited for others.
    virtual double WaitedSeconds() const = 0;
};

/// The communicator of a process on its own: it has nobody to talk to.
std::unique_ptr<ICommunicator> SingleProcess();

/// The processes that this one was started with by an MPI launcher; it alone if there was none. To be called
/// once.
/// @throws volume::CEnvironmentError if there was one, but the program was built without MPI.
std::unique_ptr<ICommunicator> StartedProcesses();

/// The numbers as a message.
template <typename T>
ICommunicator::Message MessageOf(std::span<const T> numbers) {
    ICommunicator::Message message(numbers.size_bytes());
    if (!message.empty()) {
        std::memcpy(message.data(), numbers.data(), message.size());
    }
    return message;
}

/// The numbers of a message. @throws std::runtime_error if it is of another length.
void CopyMessage(const ICommunicator::Message& message, std::span<std::byte> numbers);

} // namespace TEVRA::stream
