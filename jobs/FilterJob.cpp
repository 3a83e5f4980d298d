// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/FilterJob.h"

#include "FilterOrientations/OrientationTensor.h"
#include "FilterOrientations/PointsOnSphere.h"
#include "Numeric/Matrix.h"
#include "Utils/CoveredPixels.h"
#include "VexoBase/Parallelism.h"
#include "VexoBase/ProgressMonitor.h"
#include "jobs/BackgroundLevel.h"
#include "jobs/FileChecks.h"
#include "jobs/ImageFiles.h"
#include "jobs/Texts.h"
#include "jobs/TransformSizes.h"
#include "report/Outputs.h"
#include "stream/MemoryPlan.h"
#include "stream/ScratchStore.h"
#include "volume/Failure.h"
#include "volume/ImageConversion.h"
#include "volume/MetaImageWriter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <tuple>
#include <utility>

namespace TEVRA::jobs {

namespace {

using EParameter = CFilterParameterError::EParameter;
using EResolution = CFilterOrientations::EOrientationResolution;

EResolution resolution_of(const std::string& name) {
    for (const EResolution id :
         {CFilterOrientations::eCoarse, CFilterOrientations::eMedium, CFilterOrientations::eFine}) {
        if (name == CFilterOrientations::ResolutionIdToString(id)) {
            return id;
        }
    }
    throw CFilterParameterError(EParameter::resolution, "'" + name + "' is not coarse, medium or fine");
}

std::unique_ptr<IMatrix<double>> directions_of(const std::string& resolution, int dim) {
    return std::unique_ptr<IMatrix<double>>(
        Impl::StPointsOnSphere::GetPoints(resolution_of(resolution), dim));
}

void check_widths(const report::SFilterParameters& parameters) {
    for (const double width : {parameters.majorWidth, parameters.minorWidth}) {
        if (!(width > 0.0) || width > LARGEST_FILTER_WIDTH) {
            throw CFilterParameterError(EParameter::widths, "a filter is " + RoundedText(width) +
                                                                " wide; give a width above 0 and at most " +
                                                                RoundedText(LARGEST_FILTER_WIDTH));
        }
    }
    if (!(parameters.majorWidth > parameters.minorWidth)) {
        throw CFilterParameterError(
            EParameter::widths,
            "the width along the filters, " + RoundedText(parameters.majorWidth) +
                ", must be greater than that across, " + RoundedText(parameters.minorWidth) +
                ": what is drawn out along an axis tells axes apart; two to three times as much suits");
    }
}

/// The rim per axis; the second is true for the default one.
std::pair<std::vector<long long>, bool> asked_rim(const report::SFilterParameters& parameters,
                                                  std::size_t dim) {
    const std::vector<long long>& rim = parameters.rimPx;
    if (rim.empty()) {
        return {std::vector<long long>(dim, FilterReachPx(parameters.majorWidth)), true};
    }
    if (rim.size() != 1 && rim.size() != dim) {
        throw CFilterParameterError(EParameter::rim, "there are " + std::to_string(rim.size()) +
                                                         " numbers for an image of " + std::to_string(dim) +
                                                         " axes; give one for all axes or one per axis");
    }
    if (*std::min_element(rim.begin(), rim.end()) < 0) {
        throw CFilterParameterError(EParameter::rim, "a rim cannot be narrower than 0 pixels");
    }
    return {rim.size() == dim ? rim : std::vector<long long>(dim, rim.front()), false};
}

void check_box(const CSize& size, const report::SPixelBox& box) {
    const std::vector<long long> extents = ExtentsOf(size);
    if (box.lower.size() != extents.size() || box.upper.size() != extents.size()) {
        throw CFilterParameterError(EParameter::box, "its corners are not in an image of " +
                                                         std::to_string(extents.size()) + " axes");
    }
    for (std::size_t axis = 0; axis < extents.size(); ++axis) {
        const auto [least, greatest] = std::minmax(box.lower[axis], box.upper[axis]);
        if (least < 0 || greatest > extents[axis] || least == extents[axis]) {
            throw CFilterParameterError(EParameter::box,
                                        "it leaves the image of " + SizeText(extents) + " px");
        }
    }
}

bool is_constant(const SGreySplit& split) {
    return !(split.darkest < split.brightest);
}

/// One pixel without a value would spread over the whole image by the transform.
void require_numbers(const CImage& image, const std::string& path) {
    if (!(image.Type() == IMAGE_GREY_F)) {
        return;
    }
    const auto* const first = image.Pixels<float>();
    if (std::any_of(first, first + image.Size().Elements(),
                    [](float value) { return !std::isfinite(value); })) {
        throw CWorkError("'" + path +
                         "' holds pixels without a finite value (NaN or infinite); replace them by the grey "
                         "value of the background");
    }
}

void require_contrast(const SGreySplit& split, const std::string& path) {
    if (is_constant(split)) {
        throw CWorkError("no foreground: all pixels of '" + path +
                         "' have the same value; give an image with fibers");
    }
}

long long foreground_pixels(const CImage& mask) {
    const auto* const first = mask.Pixels<unsigned char>();
    return std::count_if(first, first + mask.Size().Elements(),
                         [](unsigned char pixel) { return pixel != 0; });
}

CPos position(const std::vector<long long>& corner) {
    CPos pos;
    pos.SetDim(static_cast<int>(corner.size()));
    for (std::size_t axis = 0; axis < corner.size(); ++axis) {
        pos[static_cast<int>(axis)] = static_cast<long>(corner[axis]);
    }
    return pos;
}

void require_complete(bool isComplete) {
    if (!isComplete) {
        throw CWorkError("stopped before the end; no output was written");
    }
}

std::vector<std::string> names_of_outputs() {
    std::vector<std::string> names;
    for (const report::SOutput& output : report::FilterOutputs()) {
        if (output.file != std::string(report::RUN_RECORD_FILE)) {
            names.emplace_back(output.file);
        }
    }
    return names;
}

report::SBoxTensor tensor_of(const CFilterOrientations& estimator, const report::SPixelBox& box) {
    const std::size_t dim = box.lower.size();
    CMatrix<double> tensor(dim, dim);
    report::SBoxTensor result;
    result.boxPx = box;
    result.pixels = estimator.OrientationTensor(tensor, CBox(position(box.lower), position(box.upper)));
    for (std::size_t row = 0; row < dim; ++row) {
        for (std::size_t col = row; col < dim; ++col) {
            result.components.push_back(tensor(row, col));
        }
    }
    if (result.pixels > 0) {
        CMatrix<double> eigenvalues(dim, 1);
        COrientationTensor::Eigenvalues(eigenvalues, tensor);
        for (std::size_t i = 0; i < dim; ++i) {
            result.eigenvalues.push_back(eigenvalues(i, 0));
        }
    }
    return result;
}

} // namespace

long long FilterReachPx(double majorWidth) {
    return std::max(1LL, std::llround(2.0 * majorWidth / std::numbers::pi));
}

SEvaluatedPixels EvaluatedPixels(const CSize& size, const report::SFilterParameters& parameters) {
    const std::vector<long long> extents = ExtentsOf(size);
    const std::size_t dim = extents.size();
    SEvaluatedPixels evaluated;
    bool isDefault = false;
    std::tie(evaluated.rimPx, isDefault) = asked_rim(parameters, dim);
    if (parameters.boxPx) {
        check_box(size, *parameters.boxPx);
    }
    const report::SPixelBox box =
        parameters.boxPx.value_or(report::SPixelBox{std::vector<long long>(dim, 0), extents});
    const CBox corners(position(box.lower), position(box.upper));
    for (std::size_t axis = 0; axis < dim; ++axis) {
        const long long extent = extents[axis];
        long long& rim = evaluated.rimPx[axis];
        if (isDefault && extent <= 2 * rim) {
            rim = 0;
            evaluated.axesTooThin.push_back(static_cast<int>(axis));
        }
        Impl::SPixelRange covered = Impl::CoveredPixels(corners, static_cast<int>(axis), extent);
        covered.hi = std::max(covered.hi, covered.lo + 1); // as the tensor has it
        const long long lo = std::max(covered.lo, rim);
        const long long hi = std::min(covered.hi, extent - rim);
        if (hi <= lo) {
            const std::string what = parameters.boxPx ? "the box lies in" : "the image is no wider than";
            throw CFilterParameterError(EParameter::rim, "no pixel is left: " + what + " the rim of " +
                                                             SizeText(evaluated.rimPx) +
                                                             " px that is left out at every side; give a "
                                                             "narrower one");
        }
        evaluated.isBoxClipped |= parameters.boxPx && (lo > covered.lo || hi < covered.hi);
        evaluated.boxPx.lower.push_back(lo);
        evaluated.boxPx.upper.push_back(hi);
    }
    return evaluated;
}

std::size_t FilterMemory(const CSize& size, std::size_t pixelBytes,
                         const report::SFilterParameters& parameters) {
    // While directions are tried: of the image its copy without background, mask, index and best answer; of
    // the image with its frame spectrum, filtered spectrum and answer.
    constexpr double BYTES_PER_PIXEL = 4.0 + 1.0 + 1.0 + 4.0;
    constexpr double BYTES_PER_FRAMED_PIXEL = 8.0 + 8.0 + 4.0;
    // Before: the image as it was read, mask, copy of its background's pixels or of all.
    const double bytesBefore = static_cast<double>(pixelBytes) + 1.0 + 4.0;
    const auto framePx = static_cast<double>(FramePx(parameters.majorWidth, parameters.minorWidth));
    double pixels = 1.0;
    double framedPixels = 1.0;
    for (const long long extent : ExtentsOf(size)) {
        pixels *= static_cast<double>(extent);
        framedPixels *= static_cast<double>(extent) + 2.0 * framePx;
    }
    const double bytes =
        static_cast<double>(stream::ProgramBytes(parameters.threads)) +
        std::max(pixels * bytesBefore, pixels * BYTES_PER_PIXEL + framedPixels * BYTES_PER_FRAMED_PIXEL);
    constexpr auto MOST = std::numeric_limits<std::size_t>::max();
    return bytes < static_cast<double>(MOST) ? static_cast<std::size_t>(bytes) : MOST;
}

CFilterJob::CFilterJob(const SFilterTask& task) : m_task(task) {}

void CFilterJob::Plan(EPurpose purpose) {
    check_widths(m_task.parameters);
    m_evaluated = EvaluatedPixels(size(), m_task.parameters);
    record_plan();
    const report::SFilterRecord::SMemory& memory = m_record.memory;
    if (memory.expectedBytes > memory.allowedBytes) {
        throw CWorkError("the filters need " + stream::BytesText(memory.expectedBytes) +
                         " of memory, but are allowed " + stream::BytesText(memory.allowedBytes) + ": " +
                         SizeText(m_record.transform.sizePx) +
                         " px are transformed, a frame of twice the larger width included; give narrower "
                         "filters or a smaller part of the image, or allow more memory");
    }
    if (purpose == EPurpose::run) {
        m_files.emplace(m_task.outputFolder, names_of_outputs(), InputFilesOf(m_task.image, m_task.mask));
        m_record.files = m_files->Names();
        require_room();
    }
}

/// For the maps, beside which the tables are nothing.
void CFilterJob::require_room() {
    const std::size_t pixels = size().Elements();
    std::vector<SRoomOfFile> files{{m_files->PathOf(report::INDEX_FILE), pixels}};
    for (const char* const name : {report::RESPONSE_FILE, report::COLATITUDE_FILE, report::LONGITUDE_FILE}) {
        files.push_back({m_files->PathOf(name), pixels * sizeof(float)});
    }
    RequireRoom(files);
}

void CFilterJob::record_plan() {
    const volume::SImageInfo& info = m_task.image.Info();
    m_record.version = m_task.programVersion;
    m_record.startTime = m_clock.StartTime();
    m_record.input.path = m_task.imagePath;
    m_record.input.check = CheckOfInput(m_task.image.Files());
    m_record.input.format = info.format;
    m_record.input.sizePx = ExtentsOf(info.size);
    m_record.input.storedType = info.storedType;
    m_record.input.missingSlices = info.missingSlices;
    m_record.input.spacing = info.spacing;
    m_record.input.lengthUnit = info.spacing ? info.spacingUnit : "px";
    m_record.input.spacingOrigin =
        info.spacing ? report::ESpacingOrigin::header : report::ESpacingOrigin::none;
    m_record.parameters = m_task.parameters;
    m_record.directions = directions_of(m_task.parameters.resolution, info.size.Dim())->Rows();
    m_record.evaluated.boxPx = m_evaluated.boxPx;
    m_record.evaluated.rimPx = m_evaluated.rimPx;
    m_record.transform.framePx = FramePx(m_task.parameters.majorWidth, m_task.parameters.minorWidth);
    for (const long long extent : m_record.input.sizePx) {
        m_record.transform.sizePx.push_back(extent + 2 * m_record.transform.framePx);
    }
    m_record.memory.allowedBytes = m_task.memoryBytes;
    const std::size_t readers =
        m_task.image.BufferBytes() + (m_task.mask != nullptr ? m_task.mask->BufferBytes() : 0);
    const std::size_t filters =
        FilterMemory(info.size, volume::BytesPerPixel(info.pixelType), m_task.parameters);
    m_record.memory.expectedBytes =
        filters + std::min(readers, std::numeric_limits<std::size_t>::max() - filters);
}

void CFilterJob::Run() {
    CParallelism::SetThreads(m_task.parameters.threads);
    const double start = m_clock.Seconds();
    std::unique_ptr<CImage> image = volume::ReadImage(m_task.image);
    require_numbers(*image, m_task.imagePath);
    std::unique_ptr<CImage> fibers = read_mask();
    m_record.seconds.read = m_clock.Seconds() - start;

    const SGreySplit split = SplitGreyValues(*image);
    m_record.input.largestRounding = m_task.image.LargestRounding();
    m_rounding =
        RoundingNote(m_task.image.Info(), m_record.input.largestRounding,
                     {.lo = static_cast<double>(split.darkest), .hi = static_cast<double>(split.brightest)});
    require_contrast(split, m_task.imagePath);
    const std::vector<long long> reach(static_cast<std::size_t>(size().Dim()),
                                       FilterReachPx(m_task.parameters.majorWidth));
    const double background = BackgroundLevel(*image, split, fibers.get(), reach);
    m_record.background.level = background;
    m_record.background.source = fibers ? "mask" : "threshold";
    if (!fibers) {
        m_record.foreground.threshold = ForegroundThreshold(split, background);
        fibers = PixelsFrom(*image, *m_record.foreground.threshold);
    }
    m_record.foreground.pixels = foreground_pixels(*fibers);
    m_record.foreground.ofPixels = static_cast<long long>(size().Elements());

    const SFlatImage flat = WithoutBackground(*image, split, background);
    image.reset();
    m_scale = flat.scale;
    filter(*flat.image, *fibers);
    count_directions();
    m_record.seconds.filter = m_clock.Seconds() - start - m_record.seconds.read;
}

std::unique_ptr<CImage> CFilterJob::read_mask() {
    if (m_task.mask == nullptr) {
        return nullptr;
    }
    const std::string name = "mask '" + m_task.parameters.maskPath.value_or("") + "'";
    try {
        auto mask = volume::ReadMask(*m_task.mask);
        if (foreground_pixels(*mask) == 0) {
            throw CWorkError("no foreground: " + name + " marks no pixel");
        }
        return mask;
    } catch (const volume::CInputError& error) {
        throw CWorkError(name + ": " + error.what());
    }
}

void CFilterJob::filter(const CImage& flat, const CImage& fibers) {
    m_estimator = std::make_unique<CFilterOrientations>(static_cast<float>(m_task.parameters.majorWidth),
                                                        static_cast<float>(m_task.parameters.minorWidth),
                                                        nullptr, nullptr);
    m_estimator->Compute(flat, resolution_of(m_task.parameters.resolution), &fibers);
    require_complete(m_estimator->Index() != nullptr);
}

void CFilterJob::count_directions() {
    m_tensor = tensor_of(*m_estimator, m_evaluated.boxPx);
    m_record.evaluated.pixels = m_tensor.pixels;
    const auto directions = directions_of(m_task.parameters.resolution, size().Dim());
    m_directions.resize(directions->Rows());
    for (std::size_t k = 0; k < m_directions.size(); ++k) {
        for (std::size_t i = 0; i < directions->Cols(); ++i) {
            m_directions[k].direction.push_back((*directions)(k, i));
        }
    }
    const CImage& index = dynamic_cast<const CImage&>(*m_estimator->Index());
    const auto* const numbers = index.Pixels<unsigned char>();
    const std::vector<long long>& lower = m_evaluated.boxPx.lower;
    const std::vector<long long>& upper = m_evaluated.boxPx.upper;
    const bool isVolume = lower.size() == 3;
    for (long long z = isVolume ? lower[2] : 0; z < (isVolume ? upper[2] : 1); ++z) {
        for (long long y = lower[1]; y < upper[1]; ++y) {
            const auto* const row = numbers + (z * size()[1] + y) * size()[0];
            for (long long x = lower[0]; x < upper[0]; ++x) {
                if (row[x] < m_directions.size()) {
                    ++m_directions[row[x]].pixels;
                }
            }
        }
    }
}

void CFilterJob::Save() {
    write_maps();
    m_files->WriteText(report::HISTOGRAM_FILE, report::HistogramJson(m_directions));
    m_files->WriteText(report::TENSOR_FILE, report::TensorJson(m_tensor));
    m_record.fileChecks = m_files->Checks();
    m_record.seconds.total = m_clock.Seconds();
    m_files->WriteText(report::RUN_RECORD_FILE, report::RunJson(m_record));
    require_complete(!CProgressMonitor::Obj().CancelRequested());
    m_files->Commit();
}

void CFilterJob::write_maps() {
    CImage first(IMAGE_GREY_F, size(), CSize(0, 0, 0));
    CImage second(IMAGE_GREY_F, size(), CSize(0, 0, 0));
    require_complete(m_estimator->GetBestResponse(first));
    auto* const answers = first.Pixels<float>();
    for (std::size_t i = 0; i < static_cast<std::size_t>(m_record.foreground.ofPixels); ++i) {
        answers[i] =
            static_cast<float>(static_cast<double>(answers[i]) / m_scale + m_record.background.level);
    }
    write_map(report::RESPONSE_FILE, first);
    require_complete(m_estimator->GetOrientations(first, second));
    write_map(report::COLATITUDE_FILE, first);
    write_map(report::LONGITUDE_FILE, second);
    write_map(report::INDEX_FILE, *m_estimator->Index());
}

void CFilterJob::write_map(const char* name, const IImage& map) {
    const volume::SImageInfo& info = m_task.image.Info();
    volume::WriteMetaImage(m_files->PathOf(name), map, info.spacing, info.spacingUnit);
}

} // namespace TEVRA::jobs
