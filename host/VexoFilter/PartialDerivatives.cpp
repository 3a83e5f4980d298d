// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/PartialDerivatives.h"

#include "VexoBase/Parallelism.h"
#include "VexoFilter/DerivativePass.h"
#include "VexoFilter/DifferencePass.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"
#include "zeklib2image/Image.h"

#include <array>
#include <memory>

namespace TEVRA {
namespace {

constexpr std::array<char, 3> AXIS_NAMES{'x', 'y', 'z'};
constexpr int HIGHEST_ORDER = 2;

using Orders = std::array<int, 3>;

[[noreturn]] void refuse(const CString& message, int line) {
    throw CExBadParam(
        TEVRA_LOCATION("host/VexoFilter/PartialDerivatives", "TEVRA::CPartialDerivatives::Derivative", line),
        message.c_str());
}

CString text(const char* message) {
    return {message, CString::eEncodingUtf8};
}

void check(const IImage& image, const Orders& orders) {
    const int dimensions = image.Size().Dim();
    if (dimensions < 1 || dimensions > 3) {
        refuse(text("Only images of 1 to 3 dimensions can be differentiated, not of %1.").Arg(dimensions, 0),
               __LINE__);
    }
    if (!(image.Type() == IMAGE_GREY_F)) {
        refuse(text("The image to be differentiated must be of type 'GREY_F', not '%1'.")
                   .Arg(image.Type().ToString()),
               __LINE__);
    }
    for (std::size_t axis = 0; axis < orders.size(); ++axis) {
        if (orders[axis] < 0 || orders[axis] > HIGHEST_ORDER) {
            refuse(text("The order of the derivative along %1 must be 0, 1 or 2, not %2.")
                       .Arg(AXIS_NAMES[axis])
                       .Arg(orders[axis], 0),
                   __LINE__);
        }
        if (orders[axis] > 0 && static_cast<int>(axis) >= dimensions) {
            refuse(text("An image of %1 dimensions has no derivative along %2.")
                       .Arg(dimensions, 0)
                       .Arg(AXIS_NAMES[axis]),
                   __LINE__);
        }
    }
}

} // namespace

CPartialDerivatives::CPartialDerivatives(const char* name, const IObject* parent)
    : CAlgorithm(name, parent) {}

CPartialDerivatives::~CPartialDerivatives() = default;

void CPartialDerivatives::Derivative(IImage& image, int orderX, int orderY, int orderZ) {
    const Orders orders{orderX, orderY, orderZ};
    check(image, orders);
    if (orders == Orders{} || image.Size().Elements() == 0) {
        return;
    }
    const auto run = [&](const Impl::BlockPasses& passes) {
        Impl::RunPasses(passes, CParallelism::Threads(), Progress(), "Computing derivatives...");
    };
    const auto differentiate_original = [&](const std::byte* original, std::byte* pixels) {
        const Impl::CPixelGrid source(original, IMAGE_GREY_F, image.Size());
        Impl::CPixelGrid target(reinterpret_cast<float*>(pixels), image.Size());
        Impl::BlockPasses passes;
        passes.push_back(std::make_unique<Impl::CDerivativePass>(source, target, orders));
        run(passes);
    };
    auto* const copy = dynamic_cast<CImage*>(&image);
    if (copy != nullptr && copy->SetFromOriginal(differentiate_original)) {
        return;
    }
    Impl::CPixelGrid grid(image);
    Impl::BlockPasses passes;
    for (std::size_t axis = 0; axis < orders.size(); ++axis) {
        if (orders[axis] > 0) {
            passes.push_back(std::make_unique<Impl::CDifferencePass>(
                grid, static_cast<int>(axis), static_cast<Impl::CDifferencePass::EOrder>(orders[axis])));
        }
    }
    run(passes);
}

} // namespace TEVRA
