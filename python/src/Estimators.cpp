// SPDX-License-Identifier: BSD-3-Clause
#include "python/src/ArrayImage.h"
#include "python/src/Arrays.h"
#include "python/src/Bindings.h"
#include "python/src/Exclusive.h"
#include "python/src/Failure.h"
#include "python/src/Matrices.h"
#include "python/src/Progress.h"
#include "stream/Workers.h"

#include "FilterOrientations/HessianOrientations.h"
#include "FilterOrientations/LineVotingOrientations.h"
#include "FilterOrientations/StructureTensorOrientations.h"
#include "VexoBase/Parallelism.h"

#include <array>
#include <memory>
#include <mutex>
#include <optional>

namespace TEVRA::python {

namespace {

using Corner = std::array<long long, 3>;

CBox box_of(const Corner& lower, const Corner& upper, int dim) {
    return dim == 2 ? CBox(CPos(lower[0], lower[1]), CPos(upper[0], upper[1]))
                    : CBox(lower[0], lower[1], lower[2], upper[0], upper[1], upper[2]);
}

template <typename EstimatorT>
py::array over(const IImage& map, std::shared_ptr<const EstimatorT> owner) {
    const std::unique_ptr<IImage::IAccess> access(map.CreateAccess(true));
    return ArrayOver(ShapeOf(map.Size()), static_cast<const float*>(access->ConstData()), std::move(owner));
}

/// An estimator in memory. Arrays of its maps hold a copy of the estimator, which shares them: they live on when
/// the next image is computed.
template <typename EstimatorT>
class CEstimator {
  public:
    explicit CEstimator(double otsuFactor) : m_estimator(otsuFactor) {}

    py::tuple Maps() {
        const auto lock = require_result();
        const auto owner = std::make_shared<const EstimatorT>(m_estimator);
        const IImage* theta = nullptr;
        const IImage* phi = nullptr;
        if (m_dim == 2) {
            owner->get(theta);
            return py::make_tuple(over(*theta, owner), py::none());
        }
        owner->get(theta, phi);
        return py::make_tuple(over(*theta, owner), over(*phi, owner));
    }

    py::array Confidence() {
        const auto lock = require_result();
        const auto owner = std::make_shared<const EstimatorT>(m_estimator);
        const IImage* confidence = nullptr;
        owner->GetConfidence(confidence);
        return over(*confidence, owner);
    }

    double Threshold() {
        const auto lock = m_access.Take();
        return m_estimator.Threshold();
    }

    py::tuple OrientationTensor(const Corner& lower, const Corner& upper, bool normalize) {
        const auto lock = require_result();
        CMatrix<double> tensor(static_cast<std::size_t>(m_dim), static_cast<std::size_t>(m_dim));
        long long count = 0;
        Work(py::none(), [&] {
            count = m_estimator.OrientationTensor(tensor, box_of(lower, upper, m_dim), normalize, nullptr);
        });
        return py::make_tuple(ArrayOfMatrix(tensor), count);
    }

  protected:
    /// Calls `compute(estimator)` with threads lent.
    template <typename ComputeT>
    void run(const CArrayImage& image, int threads, const py::object& progress, const ComputeT& compute) {
        const auto lock = m_access.Take();
        m_dim = 0;
        Work(progress, [&] {
            CParallelism::SetThreads(threads);
            stream::CWorkers workers(threads);
            const SLoan loan(m_estimator, workers);
            compute(m_estimator);
        });
        m_dim = image.Size().Dim();
    }

  private:
    struct SLoan {
        SLoan(EstimatorT& to, ITaskRunner& workers) : estimator(to) { estimator.LendThreads(&workers); }
        ~SLoan() { estimator.LendThreads(nullptr); }
        SLoan(const SLoan&) = delete;
        SLoan& operator=(const SLoan&) = delete;
        EstimatorT& estimator;
    };

    std::unique_lock<std::mutex> require_result() {
        auto lock = m_access.Take();
        if (m_dim == 0) {
            throw jobs::CWorkError("there is no result yet; call compute first");
        }
        return lock;
    }

    CExclusive m_access;
    EstimatorT m_estimator;
    int m_dim = 0; // of the result; 0 without
};

class CHessian : public CEstimator<CHessianOrientations> {
  public:
    using CEstimator::CEstimator;

    void Compute(CArrayImage& image, double sigmaPx, const CArrayImage* mask, bool largest, int threads,
                 const py::object& progress) {
        run(image, threads, progress, [&](CHessianOrientations& estimator) {
            estimator.compute(image, sigmaPx, mask,
                              largest ? CHessianOrientations::eEVLargest : CHessianOrientations::eEVSmallest);
        });
    }
};

using Spacing = std::optional<std::array<double, 3>>;

Impl::EFiberContrast contrast_of(bool isDark) {
    return isDark ? Impl::EFiberContrast::dark : Impl::EFiberContrast::bright;
}

class CLineVoting : public CEstimator<CLineVotingOrientations> {
  public:
    using CEstimator::CEstimator;

    void Compute(const CArrayImage& image, double fiberRadius, const CArrayImage* mask,
                 const Spacing& spacing, std::optional<double> along, bool darkFibers, int threads,
                 const py::object& progress) {
        run(image, threads, progress, [&](CLineVotingOrientations& estimator) {
            estimator.compute(image, fiberRadius, mask, {spacing, along, contrast_of(darkFibers)});
        });
    }
};

class CStructureTensor : public CEstimator<CStructureTensorOrientations> {
  public:
    using CEstimator::CEstimator;

    void Compute(const CArrayImage& image, double fiberRadius, const CArrayImage* mask,
                 const Spacing& spacing, std::optional<double> gradientSigma,
                 std::optional<double> windowSigma, double along, bool darkFibers, int threads,
                 const py::object& progress) {
        run(image, threads, progress, [&](CStructureTensorOrientations& estimator) {
            estimator.compute(image, fiberRadius, mask,
                              {spacing, gradientSigma, windowSigma, along, contrast_of(darkFibers)});
        });
    }
};

/// What all have in common.
template <typename ClassT>
py::class_<ClassT> bind(py::module_& module, const char* name) {
    py::class_<ClassT> bound(module, name);
    bound.def(py::init<double>(), py::arg("otsu_factor"))
        .def("maps", &ClassT::Maps)
        .def_property_readonly("threshold", &ClassT::Threshold)
        .def("orientation_tensor", &ClassT::OrientationTensor, py::arg("lower"), py::arg("upper"),
             py::arg("normalize"));
    return bound;
}

} // namespace

void BindEstimators(py::module_& module) {
    bind<CHessian>(module, "Hessian")
        .def("compute", &CHessian::Compute, py::arg("image"), py::arg("sigma"), py::arg("mask"),
             py::arg("largest"), py::arg("threads"), py::arg("progress"));
    bind<CLineVoting>(module, "LineVoting")
        .def("confidence", &CLineVoting::Confidence)
        .def("compute", &CLineVoting::Compute, py::arg("image"), py::arg("fiber_radius"), py::arg("mask"),
             py::arg("spacing"), py::arg("along"), py::arg("dark_fibers"), py::arg("threads"),
             py::arg("progress"));
    bind<CStructureTensor>(module, "StructureTensor")
        .def("confidence", &CStructureTensor::Confidence)
        .def("compute", &CStructureTensor::Compute, py::arg("image"), py::arg("fiber_radius"),
             py::arg("mask"), py::arg("spacing"), py::arg("gradient_sigma"), py::arg("window_sigma"),
             py::arg("along"), py::arg("dark_fibers"), py::arg("threads"), py::arg("progress"));
    module.attr("DEFAULT_OTSU_FACTOR") = CHessianOrientations::m_fDefaultOtsuFactor;
    module.attr("LOCAL_TENSOR_OTSU_FACTOR") = CLocalTensorOrientations::DEFAULT_OTSU_FACTOR;
}

} // namespace TEVRA::python
