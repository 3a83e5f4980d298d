// SPDX-License-Identifier: BSD-3-Clause
#include "VexoSpectral/FourierTransformation.h"

#include "VexoBase/Parallelism.h"
#include "VexoSpectral/ForwardTransform.h"
#include "VexoSpectral/InverseTransform.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"

#include <cstdint>
#include <limits>

namespace TEVRA {
namespace {

using Impl::Extents;
using Impl::SPixels;

constexpr const char* SOURCE = "host/VexoSpectral/FourierTransformation";
constexpr std::size_t SIZES_KEPT = 4;

/// What the checks of one public operation report with.
struct SOperation {
    const char* function;
    const char* wantedInput;
    const char* wantedOutput;
};

constexpr SOperation FORWARD{"TEVRA::CFourierTransformation::Fft", "GREY_8, GREY_16 or GREY_F", "COMPLEX_F"};
constexpr SOperation INVERSE{"TEVRA::CFourierTransformation::InverseFft", "COMPLEX_F", "GREY_F"};

[[noreturn]] void throw_bad_param(const SOperation& operation, const CString& message, int line) {
    throw CExBadParam(TEVRA_LOCATION(SOURCE, operation.function, line), message.c_str());
}

void check_type(bool isWanted, const SOperation& operation, const char* role, const char* wanted,
                const IImage& image) {
    if (!isWanted) {
        CString message("The Fourier transform expects an %1 image of type %2, but got image type '%3'.",
                        CString::eEncodingUtf8);
        throw_bad_param(operation, message.Arg(role).Arg(wanted).Arg(image.Type().ToString()), __LINE__);
    }
}

void check_sizes(const SOperation& operation, const IImage& out, const IImage& in) {
    const CSize& size = in.Size();
    if (size.Dim() < 1 || size.Dim() > 3) {
        CString message("The Fourier transform takes images of 1 to 3 dimensions, but got %1.",
                        CString::eEncodingUtf8);
        throw_bad_param(operation, message.Arg(size.Dim(), 0), __LINE__);
    }
    if (!(out.Size() == size)) {
        CString message("Input and output image sizes of the Fourier transform do not match: '%1' vs '%2'.",
                        CString::eEncodingUtf8);
        throw_bad_param(operation, message.Arg(size.ToString()).Arg(out.Size().ToString()), __LINE__);
    }
    for (int axis = 0; axis < size.Dim(); ++axis) {
        if (size[axis] > std::numeric_limits<int>::max()) {
            CString message("The Fourier transform takes extents up to %1 pixels, but got the size '%2'.",
                            CString::eEncodingUtf8);
            throw_bad_param(operation, message.Arg(std::numeric_limits<int>::max(), 0).Arg(size.ToString()),
                            __LINE__);
        }
    }
}

void check_window(const SOperation& operation, const std::vector<float>* window) {
    if (window != nullptr && !window->empty()) {
        throw_bad_param(operation,
                        CString("The Fourier transform has no windows: pass none or an empty one.",
                                CString::eEncodingUtf8),
                        __LINE__);
    }
}

Extents extents_of(const IImage& image) {
    const CSize& size = image.Size();
    return {static_cast<std::size_t>(size[0]), static_cast<std::size_t>(size[1]),
            static_cast<std::size_t>(size[2])};
}

std::array<std::ptrdiff_t, 3> strides_of(const IImage::IAccess& access) {
    return {access.Stride(0), access.Stride(1), access.Stride(2)};
}

SPixels<const std::byte> pixels_to_read(const IImage::IAccess& access) {
    return {static_cast<const std::byte*>(access.ConstData()), strides_of(access)};
}

SPixels<std::byte> pixels_to_write(IImage::IAccess& access) {
    return {static_cast<std::byte*>(access.Data()), strides_of(access)};
}

/// Null for types that are not grey values.
Impl::RowReader reader_for(const IImage::CType& type) {
    if (type == IMAGE_GREY_8) {
        return Impl::LoadRow<std::uint8_t, float>;
    }
    if (type == IMAGE_GREY_16) {
        return Impl::LoadRow<std::uint16_t, float>;
    }
    if (type == IMAGE_GREY_F) {
        return Impl::CopyFromRow<float>;
    }
    return nullptr;
}

/// The transform for a size among those kept, made if it is not among them.
template <typename Transform>
Transform& transform_for(std::vector<std::unique_ptr<Transform>>& kept, const Extents& extents) {
    for (const auto& transform : kept) {
        if (transform->Size() == extents) {
            return *transform;
        }
    }
    auto made = std::make_unique<Transform>(extents);
    if (kept.size() == SIZES_KEPT) {
        kept.erase(kept.begin());
    }
    kept.push_back(std::move(made));
    return *kept.back();
}

} // namespace

struct CFourierTransformation::SPlans {
    std::vector<std::unique_ptr<Impl::CForwardTransform>> forward;
    std::vector<std::unique_ptr<Impl::CInverseTransform>> inverse;
};

CFourierTransformation::CFourierTransformation(const char* name, const IObject* parent)
    : CAlgorithm(name, parent), m_plans(std::make_unique<SPlans>()) {}

CFourierTransformation::CFourierTransformation(const CFourierTransformation& other)
    : CAlgorithm(other), m_plans(std::make_unique<SPlans>()) {}

CFourierTransformation::~CFourierTransformation() = default;

void CFourierTransformation::Fft(IImage& out, const IImage& in, std::vector<float>* window) {
    const Impl::RowReader reader = reader_for(in.Type());
    check_type(reader != nullptr, FORWARD, "input", FORWARD.wantedInput, in);
    check_type(out.Type() == IMAGE_COMPLEX_F, FORWARD, "output", FORWARD.wantedOutput, out);
    check_sizes(FORWARD, out, in);
    check_window(FORWARD, window);
    if (in.Size().Elements() == 0) {
        return;
    }
    const std::unique_ptr<IImage::IAccess> source(in.CreateAccess(true));
    const std::unique_ptr<IImage::IAccess> target(out.CreateAccess(false));
    transform_for(m_plans->forward, extents_of(in))
        .Run(pixels_to_read(*source), reader, pixels_to_write(*target));
}

void CFourierTransformation::InverseFft(IImage& out, const IImage& in, std::vector<float>* window) {
    check_type(in.Type() == IMAGE_COMPLEX_F, INVERSE, "input", INVERSE.wantedInput, in);
    check_type(out.Type() == IMAGE_GREY_F, INVERSE, "output", INVERSE.wantedOutput, out);
    check_sizes(INVERSE, out, in);
    check_window(INVERSE, window);
    if (in.Size().Elements() == 0) {
        return;
    }
    const std::unique_ptr<IImage::IAccess> source(in.CreateAccess(true));
    const std::unique_ptr<IImage::IAccess> target(out.CreateAccess(false));
    transform_for(m_plans->inverse, extents_of(in))
        .Run(pixels_to_read(*source), pixels_to_write(*target), CParallelism::Threads());
}

} // namespace TEVRA
