// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Communicator.h"

#include <stdexcept>
#include <string>

namespace TEVRA::stream {
namespace {

class CSingleProcess : public ICommunicator {
  public:
    int Rank() const override { return 0; }
    int Size() const override { return 1; }
    int SizeOnThisMachine() const override { return 1; }
    void Send(int /*to*/, int /*tag*/, Message /*message*/) override { nobody(); }
    Message Receive(int /*from*/, int /*tag*/) override { nobody(); }
    void Flush() override {}
    double Smallest(double number) override { return number; }
    double Largest(double number) override { return number; }
    void AddUp(std::span<unsigned long long> /*counts*/) override {}
    void Share(Message& /*message*/) override {}
    void Meet() override {}
    void Abort(int /*status*/) override {}
    double WaitedSeconds() const override { return 0.0; }

  private:
    [[noreturn]] static void nobody() { throw std::logic_error("a message, but there is only one process"); }
};

} // namespace

ICommunicator::~ICommunicator() = default;

std::unique_ptr<ICommunicator> SingleProcess() {
    return std::make_unique<CSingleProcess>();
}

void CopyMessage(const ICommunicator::Message& message, std::span<std::byte> numbers) {
    if (message.size() != numbers.size()) {
        throw std::runtime_error("a message of another process has " + std::to_string(message.size()) +
                                 " bytes instead of " + std::to_string(numbers.size()));
    }
    if (!numbers.empty()) {
        std::memcpy(numbers.data(), message.data(), message.size());
    }
}

} // namespace TEVRA::stream
