// SPDX-License-Identifier: BSD-3-Clause
#include "Peer.h"

#include "ProcessMemory.h"
#include "volume/ImageReader.h"
#include "volume/MetaImageWriter.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <memory>
#include <stdexcept>
#include <utility>

namespace TEVRA::benchmarks {
namespace {

struct SArguments {
    SPeerOptions options;
    std::string input;
    std::string output;
    int runs = 1;
};

constexpr const char* USAGE =
    "options: --input FILE  8-bit volume\n"
    "         --output PREFIX  write PREFIXtheta.mha and PREFIXphi.mha (default: write nothing)\n"
    "         --sigma S  standard deviation of the smoothing in pixels (3)\n"
    "         --otsu-factor F  factor on Otsu's threshold of the smoothed image (1.25)\n"
    "         --threads N  (1)\n"
    "         --estimator NAME  of tevra_rows (hessian); the others have a threshold of their own\n"
    "         --runs N  how often to work on the image, one after the other (1)\n"
    "filter banks: --major A --minor B  widths in pixels, pi times the standard deviation (16, 6)\n"
    "         --directions FILE  axes, three numbers per line\n"
    "         --transform real|complex, --planning estimate|measure\n";

SArguments read_arguments(int argc, char** argv) {
    SArguments arguments;
    SPeerOptions& options = arguments.options;
    if (argc % 2 == 0) {
        throw std::invalid_argument(std::string("every option takes a value\n") + USAGE);
    }
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string name = argv[i];
        const std::string value = argv[i + 1];
        if (name == "--input") {
            arguments.input = value;
        } else if (name == "--output") {
            arguments.output = value;
        } else if (name == "--sigma") {
            options.sigmaPx = std::stod(value);
        } else if (name == "--otsu-factor") {
            options.otsuFactor = std::stod(value);
        } else if (name == "--threads") {
            options.threads = std::max(1, std::stoi(value));
        } else if (name == "--estimator") {
            options.estimator = value;
        } else if (name == "--runs") {
            arguments.runs = std::max(1, std::stoi(value));
        } else if (name == "--major") {
            options.majorWidth = std::stod(value);
        } else if (name == "--minor") {
            options.minorWidth = std::stod(value);
        } else if (name == "--directions") {
            options.directions = value;
        } else if (name == "--transform" && (value == "real" || value == "complex")) {
            options.transform = value;
        } else if (name == "--planning" && (value == "estimate" || value == "measure")) {
            options.planning = value;
        } else {
            std::string message = "unknown option '";
            message.append(name).append(" ").append(value).append("'\n").append(USAGE);
            throw std::invalid_argument(message);
        }
    }
    if (arguments.input.empty()) {
        throw std::invalid_argument(std::string("no --input\n") + USAGE);
    }
    return arguments;
}

SVolume read_volume(const std::string& path) {
    const auto reader = volume::OpenImage(path);
    const volume::SImageInfo& info = reader->Info();
    if (info.size.Dim() != 3 || info.pixelType != volume::EPixelType::u8) {
        throw std::invalid_argument("'" + path + "' is not an 8-bit volume");
    }
    SVolume read;
    for (int axis = 0; axis < 3; ++axis) {
        read.size[static_cast<std::size_t>(axis)] = static_cast<std::size_t>(info.size[axis]);
    }
    read.grey.resize(info.size.Elements());
    reader->ReadSlices(0, reader->SliceCount(), read.grey.data());
    return read;
}

/// A soft bar along x, thick enough for any sensible sigma.
SVolume warm_up_volume() {
    constexpr std::size_t EXTENT = 32;
    SVolume bar{{EXTENT, EXTENT, EXTENT}, {}};
    bar.grey.reserve(EXTENT * EXTENT * EXTENT);
    for (std::size_t z = 0; z < EXTENT; ++z) {
        for (std::size_t y = 0; y < EXTENT; ++y) {
            const auto squared = static_cast<int>((z - 16) * (z - 16) + (y - 16) * (y - 16));
            bar.grey.insert(bar.grey.end(), EXTENT,
                            static_cast<unsigned char>(50 + std::max(0, 150 - 4 * squared)));
        }
    }
    return bar;
}

void write_map(const std::string& path, const std::array<std::size_t, 3>& size,
               std::span<const float> values) {
    volume::SMetaImageHeader header;
    header.size = CSize(static_cast<long long>(size[0]), static_cast<long long>(size[1]),
                        static_cast<long long>(size[2]));
    header.pixelType = volume::EPixelType::f32;
    volume::CMetaImageWriter writer(path, header);
    writer.WriteSlices(values.data(), static_cast<long long>(size[2]));
    writer.Close();
}

void run(const SArguments& arguments, PeerFactory makePeer) {
    SVolume volume = read_volume(arguments.input);
    const std::array<std::size_t, 3> size = volume.size;
    const std::unique_ptr<IPeer> peer(makePeer(arguments.options));
    peer->Prepare(warm_up_volume());
    peer->Compute();
    peer->Prepare(std::move(volume));

    const std::size_t before = ResidentBytes();
    ResetPeak();
    std::string seconds;
    std::string cpuSeconds;
    for (int i = 0; i < arguments.runs; ++i) {
        const std::clock_t cpuStart = std::clock();
        const auto start = std::chrono::steady_clock::now();
        peer->Compute();
        const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - start;
        const auto cpu = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
        seconds.append(i == 0 ? "" : ", ").append(std::to_string(duration.count()));
        cpuSeconds.append(i == 0 ? "" : ", ").append(std::to_string(cpu));
    }
    const std::size_t peak = PeakBytes();

    const std::span<const float> theta = peer->Theta();
    const auto foreground = std::count_if(theta.begin(), theta.end(), [](float t) { return t >= 0.0F; });
    if (!arguments.output.empty()) {
        write_map(arguments.output + "theta.mha", size, theta);
        write_map(arguments.output + "phi.mha", size, peer->Phi());
    }
    std::printf("{\"seconds\": [%s], \"cpu_seconds\": [%s], \"planning_seconds\": %g, \"peak_bytes\": %zu, "
                "\"work_bytes\": %zu, \"foreground\": %.6f}\n",
                seconds.c_str(), cpuSeconds.c_str(), peer->PlanningSeconds(), peak,
                peak > before ? peak - before : 0,
                static_cast<double>(foreground) / static_cast<double>(theta.size()));
}

} // namespace

IPeer::~IPeer() = default;

int RunPeer(int argc, char** argv, PeerFactory makePeer) {
    try {
        run(read_arguments(argc, argv), makePeer);
    } catch (const std::exception& error) {
        static_cast<void>(std::fprintf(stderr, "%s: %s\n", argv[0], error.what()));
        return 1;
    }
    return 0;
}

} // namespace TEVRA::benchmarks
