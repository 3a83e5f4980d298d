// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/AnalyzeJob.h"
#include "jobs/Directions.h"
#include "jobs/Length.h"
#include "jobs/NoForeground.h"
#include "jobs/ReadingNotes.h"
#include "jobs/Texts.h"
#include "python/src/ArrayReader.h"
#include "python/src/Arrays.h"
#include "python/src/Bindings.h"
#include "python/src/Failure.h"
#include "python/src/Progress.h"
#include "report/Json.h"
#include "report/Outputs.h"
#include "report/Tables.h"
#include "stream/Communicator.h"
#include "stream/MemoryPlan.h"

#include "Subfields/ResultDocument.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace TEVRA::python {

namespace {

using Reader = std::shared_ptr<volume::IImageReader>;
using Floats = py::array_t<float, py::array::c_style>;

/// The maps of an analysis in arrays of the image's shape.
class CMapsInArrays : public stream::ISliceSink {
  public:
    CMapsInArrays(const CSize& size, stream::SAngleSlices whole)
        : m_slicePixels(static_cast<std::size_t>(size[0] * size[1])), m_whole(whole) {}

    stream::SAngleSlices Place(const stream::SSliceRange& slices) override {
        const auto first = static_cast<std::size_t>(slices.first) * m_slicePixels;
        const auto at = [first](float* map) { return map == nullptr ? nullptr : map + first; };
        return {at(m_whole.theta), at(m_whole.phi), at(m_whole.confidence)};
    }

    void TakeAngles(const stream::SFoundSlices& found) override {
        const stream::SAngleSlices place = CMapsInArrays::Place(found.slices);
        const auto count = static_cast<std::size_t>(found.slices.Count()) * m_slicePixels;
        copy(found.theta, place.theta, count);
        copy(found.phi, place.phi, count);
        copy(found.confidence, place.confidence, count);
    }
    bool WantsConfidence() const override { return m_whole.confidence != nullptr; }

  private:
    static void copy(const float* from, float* to, std::size_t count) {
        if (from != nullptr && to != nullptr && from != to) {
            std::memcpy(to, from, count * sizeof(float));
        }
    }

    std::size_t m_slicePixels;
    stream::SAngleSlices m_whole;
};

/// Values by name, as the package hands them over; it has checked their kinds.
class CSettings {
  public:
    explicit CSettings(const py::dict& values) : m_values(values) {}

    template <typename T>
    T Get(const char* name) const {
        return m_values[name].cast<T>();
    }
    template <typename T>
    std::optional<T> Optional(const char* name) const {
        const py::object value = m_values[name];
        return value.is_none() ? std::nullopt : std::optional(value.cast<T>());
    }

  private:
    const py::dict& m_values;
};

jobs::SLength length_of(const std::pair<double, std::string>& given) {
    return {given.first, given.second};
}

void set_spacing(const CSettings& settings, const volume::SImageInfo& info, jobs::SAnalyzeTask& task) {
    task.request.lengthUnit = "px";
    if (const auto given = settings.Optional<std::array<double, 3>>("spacing")) {
        task.spacing = given;
        task.spacingOrigin = report::ESpacingOrigin::option;
        task.request.lengthUnit = settings.Get<std::string>("unit");
    } else if (info.spacing) {
        task.spacing = info.spacing;
        task.spacingOrigin = report::ESpacingOrigin::header;
        task.request.lengthUnit = info.spacingUnit;
    }
    if (task.spacing) {
        task.request.spacing = *task.spacing;
    }
}

jobs::SAnalyzeTask task_of(volume::IImageReader& image, volume::IImageReader* mask, const py::dict& values) {
    const CSettings settings(values);
    const volume::SImageInfo& info = image.Info();
    const auto name = settings.Get<std::string>("estimator");
    const stream::SEstimator* const estimator = stream::EstimatorNamed(name);
    if (estimator == nullptr) {
        throw CArgumentError("estimator", "'" + name + "' is none of those that there are");
    }
    jobs::SAnalyzeTask task{.input = {image, mask, std::nullopt, estimator}};
    if (const auto window = settings.Optional<std::array<double, 2>>("window")) {
        task.input.window = volume::SGreyWindow{(*window)[0], (*window)[1]};
    }
    set_spacing(settings, info, task);
    Impl::SAnalysisRequest& request = task.request;
    const auto in_unit = [&](const char* argument, const char* what) {
        try {
            return jobs::LengthInUnitOfImage(
                length_of(settings.Get<std::pair<double, std::string>>(argument)), what,
                {request.lengthUnit,
                 std::span(request.spacing).first(static_cast<std::size_t>(info.size.Dim()))});
        } catch (const jobs::CWorkError& wrong) {
            throw CArgumentError(argument, wrong.what());
        }
    };
    request.fiberRadius = in_unit("fiber_radius", "the fiber radius");
    const auto in_unit_if_given = [&](const char* argument, const char* what) {
        return settings.Optional<py::object>(argument) ? std::optional(in_unit(argument, what))
                                                       : std::nullopt;
    };
    request.along = in_unit_if_given("along", "the length along fibers");
    request.gradientSigma = in_unit_if_given("gradient_sigma", "the width of gradients");
    request.windowSigma = in_unit_if_given("window_sigma", "the window");
    request.border = in_unit_if_given("border", "the border");
    request.otsuFactor = settings.Optional<double>("otsu_factor");
    request.threshold = settings.Optional<double>("threshold");
    request.contrast =
        settings.Get<bool>("dark_fibers") ? Impl::EFiberContrast::dark : Impl::EFiberContrast::bright;
    if (const auto size = settings.Optional<std::array<long long, 3>>("subfield")) {
        request.subfieldPx = *size;
    }
    request.subfieldCount = settings.Optional<std::array<long long, 3>>("subfield_count");
    request.withFourthOrder = settings.Get<bool>("fourth_order");
    task.withReport = settings.Get<bool>("report");
    task.exports = settings.Get<std::vector<std::string>>("exports");
    task.reference = settings.Optional<std::array<double, 3>>("reference");
    if (task.reference) {
        task.reference = jobs::UnitVector(*task.reference);
    }
    task.threads = settings.Get<int>("threads");
    task.memoryBytes = settings.Get<std::size_t>("memory");
    task.scratchFolder = settings.Optional<std::string>("scratch");
    task.imagePath = settings.Get<std::string>("image_name");
    task.maskPath = settings.Optional<std::string>("mask_name");
    task.programVersion = TEVRA_VERSION;
    return task;
}

/// What to do where no pixel exceeds the threshold.
std::string threshold_advice(jobs::CNoForegroundError::EReason reason, bool isDark) {
    using enum jobs::CNoForegroundError::EReason;
    if (reason == constantImage || reason == emptyMask) {
        return "";
    }
    return isDark ? "; give another threshold or otsu_factor, or the fibers as mask"
                  : "; give another threshold or otsu_factor, or the fibers as mask, or dark_fibers=True if "
                    "they are "
                    "darker than what is around them";
}

/// @param hasBorder whether the caller gave it; else it follows from the radius.
const char* argument_of(jobs::SLayoutFault::EReason reason, bool hasBorder) {
    using enum jobs::SLayoutFault::EReason;
    switch (reason) {
    case nothingButBorder:
        return hasBorder ? "border" : "fiber_radius";
    case radiusExceedsSubfield:
    case subfieldsDoNotFit:
        return "subfield";
    case tooManySubfields:
        return "subfield_count";
    case alongExceedsImage:
        return "along";
    case gradientExceedsImage:
        return "gradient_sigma";
    case windowExceedsImage:
        return "window_sigma";
    default:
        return "fiber_radius";
    }
}

/// What `Find` gives an array of: one row per field.
class CFieldTable {
  public:
    CFieldTable(const std::vector<Impl::SFieldResult>& fields, int dim)
        : m_fields(fields), m_rows(static_cast<py::ssize_t>(fields.size())), m_dim(dim) {}

    py::array_t<double> Tensors() const {
        py::array_t<double> numbers({m_rows, m_dim, m_dim});
        auto at = numbers.mutable_unchecked<3>();
        for_each([&](py::ssize_t row, const Impl::SFieldResult& field) {
            for (py::ssize_t i = 0; i < m_dim; ++i) {
                for (py::ssize_t j = 0; j < m_dim; ++j) {
                    at(row, i, j) = field.foregroundPixels > 0 ? field.values.tensor(i, j) : NONE;
                }
            }
        });
        return numbers;
    }
    py::object FourthOrder() const {
        const bool isThere = std::any_of(m_fields.begin(), m_fields.end(),
                                         [](const auto& field) { return !field.values.tensor4.IsEmpty(); });
        if (!isThere) {
            return py::none();
        }
        py::array_t<double> numbers({m_rows, m_dim, m_dim, m_dim, m_dim});
        const auto size = static_cast<std::size_t>(m_dim * m_dim * m_dim * m_dim);
        double* to = numbers.mutable_data();
        for_each([&](py::ssize_t, const Impl::SFieldResult& field) {
            const std::vector<double>& from = field.values.tensor4.elements;
            for (std::size_t i = 0; i < size; ++i) {
                *to++ = field.foregroundPixels > 0 && from.size() == size ? from[i] : NONE;
            }
        });
        return numbers;
    }
    template <typename GetT>
    py::array_t<double> Vectors(const GetT& get) const {
        py::array_t<double> numbers({m_rows, m_dim});
        auto at = numbers.mutable_unchecked<2>();
        for_each([&](py::ssize_t row, const Impl::SFieldResult& field) {
            for (py::ssize_t i = 0; i < m_dim; ++i) {
                at(row, i) = field.foregroundPixels > 0 ? get(field)[static_cast<std::size_t>(i)] : NONE;
            }
        });
        return numbers;
    }
    template <typename GetT>
    py::array_t<double> Numbers(const GetT& get) const {
        py::array_t<double> numbers(m_rows);
        for_each([&](py::ssize_t row, const Impl::SFieldResult& field) {
            numbers.mutable_at(row) = field.foregroundPixels > 0 ? get(field) : NONE;
        });
        return numbers;
    }
    /// Of fields without foreground, too.
    template <typename T, typename GetT>
    py::array_t<T> OfAll(const GetT& get) const {
        py::array_t<T> numbers(m_rows);
        for_each(
            [&](py::ssize_t row, const Impl::SFieldResult& field) { numbers.mutable_at(row) = get(field); });
        return numbers;
    }
    py::array_t<long long> Boxes() const {
        py::array_t<long long> numbers({m_rows, m_dim, py::ssize_t{2}});
        auto at = numbers.mutable_unchecked<3>();
        for_each([&](py::ssize_t row, const Impl::SFieldResult& field) {
            for (int axis = 0; axis < static_cast<int>(m_dim); ++axis) {
                at(row, axis, 0) = field.box.Point0()[axis];
                at(row, axis, 1) = field.box.Point1()[axis];
            }
        });
        return numbers;
    }
    py::dict All() const {
        py::dict columns;
        columns["boxes"] = Boxes();
        columns["tensors"] = Tensors();
        columns["fourth_order_tensors"] = FourthOrder();
        columns["eigenvalues"] = Vectors([](const auto& field) { return field.values.eigenvalues; });
        columns["mean_directions"] = Vectors([](const auto& field) { return field.values.meanDirection; });
        columns["anisotropy"] = Numbers([](const auto& field) { return field.values.anisotropy; });
        const bool hasConfidence = std::any_of(m_fields.begin(), m_fields.end(), [](const auto& field) {
            return field.meanConfidence.has_value();
        });
        const bool hasDoubt = std::any_of(m_fields.begin(), m_fields.end(), [](const auto& field) {
            return field.doubtfulFraction.has_value();
        });
        columns["confidence"] =
            hasConfidence ? py::object(Numbers([](const auto& f) { return f.meanConfidence.value_or(NONE); }))
                          : py::none();
        columns["doubtful_fraction"] =
            hasDoubt ? py::object(Numbers([](const auto& f) { return f.doubtfulFraction.value_or(NONE); }))
                     : py::none();
        columns["difference"] = Numbers([](const auto& field) { return field.differenceRad; });
        columns["foreground_pixels"] =
            OfAll<long long>([](const auto& field) { return field.foregroundPixels; });
        columns["foreground_fraction"] =
            OfAll<double>([](const auto& field) { return field.foregroundFraction; });
        py::list identifiers;
        py::list tableIds;
        py::list status;
        for_each([&](py::ssize_t, const Impl::SFieldResult& field) {
            identifiers.append(field.identifier);
            tableIds.append(report::SubfieldId(field));
            status.append(Impl::StatusText(field.status));
        });
        columns["ids"] = identifiers;
        columns["table_ids"] = tableIds;
        columns["status"] = status;
        return columns;
    }

  private:
    static constexpr double NONE = std::numeric_limits<double>::quiet_NaN();

    template <typename OperationT>
    void for_each(const OperationT& operation) const {
        py::ssize_t row = 0;
        for (const Impl::SFieldResult& field : m_fields) {
            operation(row++, field);
        }
    }

    const std::vector<Impl::SFieldResult>& m_fields;
    py::ssize_t m_rows;
    py::ssize_t m_dim;
};

/// The slices of a profile as columns.
py::dict profile_of(const std::vector<Impl::SProfileSlice>& slices, int dimension) {
    const auto rows = static_cast<py::ssize_t>(slices.size());
    const py::ssize_t dim = dimension;
    constexpr double NONE = std::numeric_limits<double>::quiet_NaN();
    py::array_t<long long> slicePx(rows);
    py::array_t<long long> subfields(rows);
    py::array_t<double> position(rows);
    py::array_t<double> tensors({rows, dim, dim});
    py::array_t<double> eigenvalues({rows, dim});
    py::array_t<double> directions({rows, dim});
    py::array_t<double> anisotropy(rows);
    py::array_t<double> difference(rows);
    py::array_t<double> confidence(rows);
    for (py::ssize_t row = 0; row < rows; ++row) {
        const Impl::SProfileSlice& slice = slices[static_cast<std::size_t>(row)];
        const bool isThere = slice.values.has_value() && slice.subfields > 0;
        slicePx.mutable_at(row) = slice.slicePx;
        subfields.mutable_at(row) = slice.subfields;
        position.mutable_at(row) = slice.position;
        anisotropy.mutable_at(row) = isThere ? slice.values->anisotropy : NONE;
        difference.mutable_at(row) = isThere ? slice.differenceRad : NONE;
        confidence.mutable_at(row) = slice.meanConfidence.value_or(NONE);
        for (py::ssize_t i = 0; i < dim; ++i) {
            const auto at = static_cast<std::size_t>(i);
            eigenvalues.mutable_at(row, i) = isThere ? slice.values->eigenvalues[at] : NONE;
            directions.mutable_at(row, i) = isThere ? slice.values->meanDirection[at] : NONE;
            for (py::ssize_t j = 0; j < dim; ++j) {
                tensors.mutable_at(row, i, j) =
                    isThere ? slice.values->tensor(at, static_cast<std::size_t>(j)) : NONE;
            }
        }
    }
    py::dict columns;
    columns["slice_px"] = slicePx;
    columns["position"] = position;
    columns["number_of_subfields"] = subfields;
    columns["tensors"] = tensors;
    columns["eigenvalues"] = eigenvalues;
    columns["mean_directions"] = directions;
    columns["anisotropy"] = anisotropy;
    columns["difference"] = difference;
    columns["confidence"] = confidence;
    return columns;
}

/// What to do about a warning, in arguments.
const char* advice(jobs::EWarning kind) {
    switch (kind) {
    case jobs::EWarning::tinyForeground:
    case jobs::EWarning::hugeForeground:
        return "; if that is not so, try another otsu_factor, a threshold, a mask, or dark_fibers";
    case jobs::EWarning::unresolvedFibers:
        return "; check fiber_radius, or take estimator=\"structure-tensor\" for what is not resolved";
    case jobs::EWarning::brokenSpacing:
        return "; give the right one as spacing";
    case jobs::EWarning::thickPixels:
        return "; take estimator=\"structure-tensor\", or an image with thinner pixels";
    default:
        return "";
    }
}

/// One analysis: run once, saved any number of times.
class CAnalysis {
  public:
    CAnalysis(Reader image, Reader mask, const py::dict& settings)
        : m_image(std::move(image)), m_mask(std::move(mask)),
          m_task(task_of(*m_image, m_mask.get(), settings)) {}

    /// Maps are arrays of the image's shape, or None; without any nothing is kept but results.
    void Run(std::optional<Floats> theta, std::optional<Floats> phi, std::optional<Floats> confidence,
             const py::object& progress) {
        if (m_job) {
            throw std::logic_error("an analysis is run once");
        }
        const stream::SAngleSlices whole{place(theta), place(phi), place(confidence)};
        CMapsInArrays maps(m_image->Info().size, whole);
        if (whole.theta != nullptr) {
            m_task.sink = &maps;
        }
        try {
            Work(progress, [&] { run(); });
        } catch (...) {
            m_job.reset();
            rethrow_slicing();
            throw;
        }
        m_task.sink = nullptr;
        release(m_image);
        release(m_mask);
    }

    std::string DocumentJson() const { return report::ResultJson(*Impl::ResultDocument(result())); }
    std::string RecordJson() const { return report::RunJson(job().Record()); }

    py::list Warnings() const {
        py::list texts;
        for (const jobs::SWarning& warning : job().Warnings()) {
            texts.append(jobs::WarningText(warning, job().Record().parameters.request) +
                         advice(warning.kind));
        }
        const report::SRunRecord::SInput& input = job().Record().input;
        if (const auto note = jobs::MissingSlicesNote(input.path, m_image->Info())) {
            texts.append(*note + ". Check the folder");
        }
        const auto rounding =
            jobs::RoundingNote(m_image->Info(), input.largestRounding, job().Result().range);
        if (rounding && rounding->isSerious) {
            texts.append(rounding->text);
        }
        return texts;
    }

    py::dict Field() const { return CFieldTable({result().field}, result().dim).All(); }
    py::dict Subfields() const { return CFieldTable(result().subfields, result().dim).All(); }

    py::dict Profile(std::size_t axis) const { return profile_of(result().profiles.at(axis), result().dim); }

    void Save(const std::string& folder, const std::optional<Floats>& theta, const std::optional<Floats>& phi,
              const std::optional<Floats>& confidence, const py::object& progress) {
        const auto pixels = [](const std::optional<Floats>& map) { return map ? map->data() : nullptr; };
        const stream::SFoundSlices maps{
            {0, m_image->SliceCount()}, pixels(theta), pixels(phi), pixels(confidence)};
        Work(progress, [&] { job().SaveInto(folder, theta ? &maps : nullptr); });
    }

  private:
    static float* place(std::optional<Floats>& map) { return map ? map->mutable_data() : nullptr; }

    static void release(const Reader& reader) {
        if (auto* const array = dynamic_cast<CArrayReader*>(reader.get())) {
            array->Release();
        }
    }

    void run() {
        try {
            m_job.emplace(m_task, *m_ranks);
            m_job->Plan(jobs::CAnalyzeJob::EPurpose::run);
            m_job->Run();
        } catch (const jobs::CNoForegroundError& failure) {
            const bool isDark = m_task.request.contrast == Impl::EFiberContrast::dark;
            throw jobs::CWorkError(failure.what() + threshold_advice(failure.Reason(), isDark));
        } catch (const jobs::CLayoutError& failure) {
            throw CArgumentError(argument_of(failure.Fault().reason, m_task.request.border.has_value()),
                                 failure.what());
        }
    }

    /// What went wrong in the caller's array is what the caller wants to know.
    void rethrow_slicing() const {
        for (const Reader& reader : {m_image, m_mask}) {
            if (const auto* const array = dynamic_cast<const CArrayReader*>(reader.get())) {
                if (array->Failure()) {
                    std::rethrow_exception(array->Failure());
                }
            }
        }
    }

    const jobs::CAnalyzeJob& job() const {
        if (!m_job) {
            throw std::logic_error("the analysis has no result");
        }
        return *m_job;
    }
    jobs::CAnalyzeJob& job() { return const_cast<jobs::CAnalyzeJob&>(std::as_const(*this).job()); }
    const Impl::SAnalysisResult& result() const { return job().Result().analysis; }

    Reader m_image;
    Reader m_mask; // null without
    jobs::SAnalyzeTask m_task;
    std::unique_ptr<stream::ICommunicator> m_ranks = stream::SingleProcess();
    std::optional<jobs::CAnalyzeJob> m_job;
};

py::dict estimators() {
    py::dict names;
    for (const stream::SEstimator* const estimator : stream::ESTIMATORS) {
        names[estimator->name] = estimator->otsuFactor;
    }
    return names;
}

std::optional<std::pair<double, std::string>> parse_length(const std::string& text) {
    const std::optional<jobs::SLength> length = jobs::ParseLengthOrPixels(text);
    return length ? std::optional(std::pair(length->value, length->unit)) : std::nullopt;
}

} // namespace

void BindAnalysis(py::module_& module) {
    py::class_<CAnalysis>(module, "Analysis")
        .def(py::init<Reader, Reader, const py::dict&>(), py::arg("image"), py::arg("mask"),
             py::arg("settings"))
        .def("run", &CAnalysis::Run, py::arg("theta"), py::arg("phi"), py::arg("confidence"),
             py::arg("progress"))
        .def("document_json", &CAnalysis::DocumentJson)
        .def("record_json", &CAnalysis::RecordJson)
        .def("warnings", &CAnalysis::Warnings)
        .def("field", &CAnalysis::Field)
        .def("subfields", &CAnalysis::Subfields)
        .def("profile", &CAnalysis::Profile, py::arg("axis"))
        .def("save", &CAnalysis::Save, py::arg("folder"), py::arg("theta"), py::arg("phi"),
             py::arg("confidence"), py::arg("progress"));
    module.def("estimators", &estimators);
    module.attr("DEFAULT_ESTIMATOR") = stream::DEFAULT_ESTIMATOR->name;
    module.def("exports", &report::ExportNames);
    module.def("parse_length", &parse_length, py::arg("text"));
    module.def("default_memory", &stream::DefaultBudget);
    module.def("cores", [] { return static_cast<int>(std::max(1U, std::thread::hardware_concurrency())); });
}

} // namespace TEVRA::python
