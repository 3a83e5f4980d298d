// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "FilterOrientations/SubfieldFiberDirections.h"
#include "stream/StreamingAnalysis.h"
#include "volume/MemoryReader.h"
#include "zeklib2image/HeaderTools.h"
#include "zeklib2image/Image.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::test {

/// An image as if it were a file.
std::unique_ptr<volume::CMemoryReader> ReaderOf(const CImage& image);

/// What an analysis gives, by either road.
struct SAnswer {
    std::unique_ptr<CValueMap> document;
    std::string summary;
    std::optional<double> threshold;
    long long foregroundPixels = 0;
    std::vector<float> theta;
    std::vector<float> phi;
    // Of the one slice by slice:
    std::vector<float> confidence;
    Impl::SFieldResult field;
    std::vector<Impl::SFieldResult> subfields;
    stream::SMemoryPlan plan;
};

/// What is analysed and how.
struct SCase {
    const CImage& image;
    const CImage* mask = nullptr;
    Impl::SAnalysisRequest parameters{};
    const stream::SEstimator* estimator = &stream::HESSIAN;
};

inline constexpr std::size_t PLENTY = std::size_t{1} << 32;

/// Slice by slice, by the processes of `ranks`; one if it is null. Without a document on ranks other than 0.
SAnswer Streamed(const SCase& task, const stream::SStreamResources& resources = {1, PLENTY, "/tmp"},
                 stream::ICommunicator* ranks = nullptr);

/// The least memory that an analysis with maps can do with.
std::size_t LeastMemory(const SCase& task, int threads);

/// By the library, of a GREY_8 image and a BINARY_FG mask.
SAnswer InMemory(const SCase& task);

/// Fails the test unless threshold, counts and angles are equal to the last bit and the documents' numbers
/// within 1e-12.
void ExpectSameAnswer(const SAnswer& streamed, const SAnswer& inMemory);
/// Fails the test unless everything is equal to the last bit.
void ExpectIdenticalAnswer(const SAnswer& one, const SAnswer& other);

/// A value of a document: a number, or the text of anything else.
struct SLeaf {
    std::string path;
    std::string text;
    std::optional<double> number;
};
std::vector<SLeaf> Leaves(const CValueMap& document);

/// Fibers in various directions over noise; the same for the same seed.
std::unique_ptr<CImage> FiberImage(const CSize& size, unsigned seed = 1);
/// A mask of scattered blobs.
std::unique_ptr<CImage> BlobMask(const CSize& size);

} // namespace TEVRA::test
