// SPDX-License-Identifier: BSD-3-Clause
#include "python/src/ArrayImage.h"
#include "python/src/Arrays.h"
#include "python/src/Bindings.h"
#include "python/src/Exclusive.h"
#include "python/src/Failure.h"
#include "python/src/Matrices.h"
#include "python/src/Progress.h"

#include "FilterOrientations/FilterOrientations.h"
#include "FilterOrientations/PointsOnSphere.h"
#include "VexoBase/Parallelism.h"

#include <array>
#include <memory>

namespace TEVRA::python {

namespace {

using Corner = std::array<long long, 3>;
using EResolution = CFilterOrientations::EOrientationResolution;

class CFilterBank {
  public:
    CFilterBank(double majorWidth, double minorWidth)
        : m_estimator(static_cast<float>(majorWidth), static_cast<float>(minorWidth), nullptr, nullptr) {}

    void Compute(const CArrayImage& image, int resolution, const CArrayImage* mask, int threads,
                 const py::object& progress) {
        const auto lock = m_access.Take();
        m_hasResult = false;
        Work(progress, [&] {
            CParallelism::SetThreads(threads);
            m_estimator.Compute(image, static_cast<EResolution>(resolution), mask);
        });
        m_size = image.Size();
        m_hasResult = true;
    }

    py::tuple Orientations() {
        const auto lock = require_result();
        std::unique_ptr<CImage> theta = new_map();
        std::unique_ptr<CImage> phi = new_map();
        Work(py::none(), [&] { m_estimator.GetOrientations(*theta, *phi); });
        if (m_size.Dim() == 2) {
            return py::make_tuple(ArrayOf(std::move(theta)), py::none());
        }
        return py::make_tuple(ArrayOf(std::move(theta)), ArrayOf(std::move(phi)));
    }

    py::array BestResponse() {
        const auto lock = require_result();
        std::unique_ptr<CImage> response = new_map();
        Work(py::none(), [&] { m_estimator.GetBestResponse(*response); });
        return ArrayOf(std::move(response));
    }

    /// A copy: the estimator's own goes with the next result.
    py::array Index() {
        const auto lock = require_result();
        const IImage& index = *m_estimator.Index();
        const std::unique_ptr<IImage::IAccess> access(index.CreateAccess(true));
        return NewArray(ShapeOf(m_size), static_cast<const std::uint8_t*>(access->ConstData()));
    }

    py::tuple OrientationTensor(const Corner& lower, const Corner& upper) {
        const auto lock = require_result();
        const auto dim = static_cast<std::size_t>(m_size.Dim());
        CMatrix<double> tensor(dim, dim);
        const CBox box = dim == 2 ? CBox(CPos(lower[0], lower[1]), CPos(upper[0], upper[1]))
                                  : CBox(lower[0], lower[1], lower[2], upper[0], upper[1], upper[2]);
        long long count = 0;
        Work(py::none(), [&] { count = m_estimator.OrientationTensor(tensor, box); });
        return py::make_tuple(ArrayOfMatrix(tensor), count);
    }

  private:
    std::unique_lock<std::mutex> require_result() {
        auto lock = m_access.Take();
        if (!m_hasResult) {
            throw jobs::CWorkError("there is no result yet; call compute first");
        }
        return lock;
    }
    std::unique_ptr<CImage> new_map() const {
        return std::make_unique<CImage>(IMAGE_GREY_F, m_size, CSize(0, 0, 0));
    }

    CExclusive m_access;
    CFilterOrientations m_estimator;
    CSize m_size;
    bool m_hasResult = false;
};

/// One direction per row.
Doubles directions(int resolution, int dim) {
    const std::unique_ptr<CMatrix<double>> points(Impl::StPointsOnSphere::GetPoints(resolution, dim));
    return ArrayOfMatrix(*points);
}

} // namespace

void BindFilterBank(py::module_& module) {
    module.def("filter_directions", &directions, py::arg("resolution"), py::arg("dim"));
    py::class_<CFilterBank>(module, "FilterBank")
        .def(py::init<double, double>(), py::arg("major_width"), py::arg("minor_width"))
        .def("compute", &CFilterBank::Compute, py::arg("image"), py::arg("resolution"), py::arg("mask"),
             py::arg("threads"), py::arg("progress"))
        .def("orientations", &CFilterBank::Orientations)
        .def("best_response", &CFilterBank::BestResponse)
        .def("index", &CFilterBank::Index)
        .def("orientation_tensor", &CFilterBank::OrientationTensor, py::arg("lower"), py::arg("upper"));
}

} // namespace TEVRA::python
