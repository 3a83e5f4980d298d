// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/PendingFile.h"
#include "python/src/ArrayImage.h"
#include "python/src/ArrayReader.h"
#include "python/src/Arrays.h"
#include "python/src/Bindings.h"
#include "python/src/Failure.h"
#include "python/src/Progress.h"
#include "volume/Failure.h"
#include "volume/ImageReader.h"
#include "volume/MetaImageWriter.h"
#include "volume/RawLayout.h"
#include "volume/TiffWriter.h"

#include "VexoBase/ProgressMonitor.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace TEVRA::python {

namespace {

using Reader = std::shared_ptr<volume::IImageReader>;

Reader open_image(const std::string& path, const std::optional<std::string>& raw) {
    volume::SOpenOptions options;
    if (raw) {
        try {
            options.raw = volume::ParseRawLayout(*raw);
        } catch (const volume::CInputError& error) {
            throw CArgumentError("raw", error.what());
        }
    }
    const py::gil_scoped_release unlocked;
    return volume::OpenImage(path, options);
}

Reader reader_of(const std::string& argument, const py::object& array) {
    return std::make_shared<CArrayReader>(argument, array);
}

py::tuple shape_of(const volume::IImageReader& reader) {
    py::list shape;
    for (const py::ssize_t extent : ShapeOf(reader.Info().size)) {
        shape.append(extent);
    }
    return py::tuple(shape);
}

/// Of the axes that the image has, x first.
py::object spacing_of(const volume::IImageReader& reader) {
    const volume::SImageInfo& info = reader.Info();
    if (!info.spacing) {
        return py::none();
    }
    py::list spacing;
    for (int axis = 0; axis < info.size.Dim(); ++axis) {
        spacing.append((*info.spacing)[static_cast<std::size_t>(axis)]);
    }
    return py::tuple(spacing);
}

/// Where the pixels are read if nothing is copied; None if they are.
py::object address_of(const volume::IImageReader& reader) {
    const auto* const array = dynamic_cast<const CArrayReader*>(&reader);
    if (array == nullptr || array->Pixels() == nullptr) {
        return py::none();
    }
    return py::int_(reinterpret_cast<std::uintptr_t>(array->Pixels()));
}

py::array read(volume::IImageReader& reader, const py::object& progress) {
    py::array pixels(DtypeOf(reader.Info().pixelType), ShapeOf(reader.Info().size));
    auto* const to = static_cast<std::byte*>(pixels.mutable_data());
    Work(progress, [&] {
        constexpr std::size_t BYTES_AT_A_TIME = std::size_t{16} << 20;
        const long long slices = reader.SliceCount();
        const auto step =
            static_cast<long long>(std::max<std::size_t>(1, BYTES_AT_A_TIME / reader.SliceBytes()));
        CProgressReport report(CProgressMonitor::Obj(), (slices + step - 1) / step, "Reading image...");
        for (long long first = 0; first < slices; first += step) {
            reader.ReadSlices(first, std::min(step, slices - first),
                              to + static_cast<std::size_t>(first) * reader.SliceBytes());
            report.Step();
        }
    });
    return pixels;
}

enum class EFormat { metaImage, tiff };

EFormat format_of(const std::string& path) {
    const std::string ending = std::filesystem::path(path).extension().string();
    if (ending == ".mha") {
        return EFormat::metaImage;
    }
    if (ending == ".tif" || ending == ".tiff") {
        return EFormat::tiff;
    }
    throw CArgumentError("path",
                         "'" + path + "' ends with neither .mha, .tif nor .tiff; these formats are written");
}

void write(const std::string& path, const CArrayImage& image,
           const std::optional<std::array<double, 3>>& spacing, const std::string& unit,
           const py::object& progress) {
    const EFormat format = format_of(path);
    Work(progress, [&] {
        jobs::CPendingFiles files;
        const std::string pending = files.Add(path);
        if (format == EFormat::tiff) {
            volume::WriteTiff(pending, image, spacing.value_or(std::array{1.0, 1.0, 1.0}),
                              spacing ? unit : "");
        } else {
            volume::WriteMetaImage(pending, image, spacing, unit);
        }
        files.Commit();
    });
}

} // namespace

void BindFiles(py::module_& module) {
    py::class_<volume::IImageReader, Reader>(module, "Reader")
        .def_property_readonly("shape", &shape_of)
        .def_property_readonly("dtype",
                               [](const volume::IImageReader& r) { return DtypeOf(r.Info().pixelType); })
        .def_property_readonly("format", [](const volume::IImageReader& r) { return r.Info().format; })
        .def_property_readonly("stored_type",
                               [](const volume::IImageReader& r) { return r.Info().storedType; })
        .def_property_readonly("spacing", &spacing_of)
        .def_property_readonly("unit", [](const volume::IImageReader& r) { return r.Info().spacingUnit; })
        .def_property_readonly("spacing_note",
                               [](const volume::IImageReader& r) { return r.Info().spacingNote; })
        .def_property_readonly("missing_slices",
                               [](const volume::IImageReader& r) { return r.Info().missingSlices; })
        .def_property_readonly("address", &address_of)
        .def("read", &read, py::arg("progress"));
    py::class_<CArrayImage>(module, "ArrayImage")
        .def(py::init([](const std::string& argument, const py::object& array, bool isMask) {
                 using enum CArrayImage::EContent;
                 return std::make_unique<CArrayImage>(argument, array, isMask ? mask : grey);
             }),
             py::arg("argument"), py::arg("array"), py::arg("is_mask") = false)
        .def_property_readonly("address", [](const CArrayImage& image) {
            return reinterpret_cast<std::uintptr_t>(image.Pixels());
        });
    module.def("open_image", &open_image, py::arg("path"), py::arg("raw"));
    module.def("reader_of", &reader_of, py::arg("argument"), py::arg("array"));
    module.def("write", &write, py::arg("path"), py::arg("image"), py::arg("spacing"), py::arg("unit"),
               py::arg("progress"));
}

} // namespace TEVRA::python
