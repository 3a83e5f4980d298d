// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/YoungVanVliet.h"

#include "VexoBase/Parallelism.h"
#include "VexoFilter/SmoothingPass.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"

#include <memory>

namespace TEVRA {
namespace {

[[noreturn]] void refuse(const CString& message, int line) {
    throw CExBadParam(TEVRA_LOCATION("host/VexoFilter/YoungVanVliet", "TEVRA::CYoungVanVliet::gauss", line),
                      message.c_str());
}

CString text(const char* message) {
    return {message, CString::eEncodingUtf8};
}

void check(const IImage& out, const IImage& in, double sigma) {
    if (!(sigma > 0.0 && sigma <= Impl::SRecursiveGaussian::LARGEST_SIGMA_PX)) {
        refuse(text("The standard deviation must be above 0 and at most %1 pixels, not %2.")
                   .Arg(static_cast<long long>(Impl::SRecursiveGaussian::LARGEST_SIGMA_PX), 0)
                   .Arg(sigma, 0),
               __LINE__);
    }
    if (in.Size().Dim() < 1 || in.Size().Dim() > 3) {
        refuse(text("Only images of 1 to 3 dimensions can be smoothed, not of %1.").Arg(in.Size().Dim(), 0),
               __LINE__);
    }
    if (!Impl::CPixelGrid::CanRead(in.Type())) {
        refuse(text("Images of type '%1' cannot be smoothed; allowed are GREY_8, GREY_16, GREY_F, "
                    "BINARY_FG, BINARY_BG and BOOL.")
                   .Arg(in.Type().ToString()),
               __LINE__);
    }
    if (!(out.Type() == IMAGE_GREY_F)) {
        refuse(text("The smoothed image must be of type 'GREY_F', not '%1'.").Arg(out.Type().ToString()),
               __LINE__);
    }
    if (!(out.Size() == in.Size())) {
        refuse(text("Input and output image sizes do not match: '%1' vs '%2'.")
                   .Arg(in.Size().ToString())
                   .Arg(out.Size().ToString()),
               __LINE__);
    }
}

} // namespace

CYoungVanVliet::CYoungVanVliet(double sigma, const char* name, const IObject* parent)
    : CAlgorithm(name, parent), m_sigma(sigma) {}

CYoungVanVliet::~CYoungVanVliet() = default;

void CYoungVanVliet::gauss(IImage& out, const IImage& in) {
    check(out, in, m_sigma);
    const Impl::CPixelGrid source(in);
    Impl::CPixelGrid target(out);
    if (source.IsEmpty()) {
        return;
    }
    const Impl::Gaussian gaussian = Impl::GaussianFromSigma(m_sigma);
    const Impl::BlockPasses passes = Impl::SmoothingPasses(gaussian, source, target);
    Impl::RunPasses(passes, CParallelism::Threads(), Progress(), "Smoothing...");
}

} // namespace TEVRA
