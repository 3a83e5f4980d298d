// SPDX-License-Identifier: BSD-3-Clause
#include "report/FieldsVtu.h"

#include "report/Base64.h"
#include "report/Tables.h"

#include "VexoBase/Cancellation.h"

#include <array>
#include <bit>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <map>
#include <span>
#include <string_view>
#include <vector>

namespace TEVRA::report {

namespace {

using Impl::SFieldResult;

constexpr std::uint8_t HEXAHEDRON = 12;
constexpr std::uint8_t QUADRILATERAL = 9;

/// As files of VTK name them.
template <typename NumberT>
constexpr const char* TYPE_NAME = nullptr;
template <>
constexpr const char* TYPE_NAME<double> = "Float64";
template <>
constexpr const char* TYPE_NAME<std::int64_t> = "Int64";
template <>
constexpr const char* TYPE_NAME<std::uint8_t> = "UInt8";

/// Numbers of an array, `components` for each cell or point.
template <typename NumberT>
struct SNumbers {
    std::string name;
    std::vector<const char*> componentNames; // as many as there are components
    std::vector<NumberT> numbers{};
};

template <typename NumberT>
std::string array_text(const SNumbers<NumberT>& array, bool isTuple = false) {
    const std::size_t components = array.componentNames.size();
    std::string text = "<DataArray type=\"" + std::string(TYPE_NAME<NumberT>) + "\" Name=\"" + array.name +
                       "\" NumberOfComponents=\"" + std::to_string(components) + "\"";
    if (isTuple) {
        text += " NumberOfTuples=\"" + std::to_string(array.numbers.size() / components) + "\"";
    }
    for (std::size_t i = 0; i < components; ++i) {
        if (*array.componentNames[i] != '\0') {
            text += " ComponentName" + std::to_string(i) + "=\"" + array.componentNames[i] + "\"";
        }
    }
    // The number of bytes stands before them, encoded along with them.
    const std::uint64_t bytes = array.numbers.size() * sizeof(NumberT);
    std::vector<std::byte> content(sizeof bytes + bytes);
    const auto head = std::as_bytes(std::span(&bytes, 1));
    const auto body = std::as_bytes(std::span(array.numbers));
    std::copy(head.begin(), head.end(), content.begin());
    std::copy(body.begin(), body.end(), content.begin() + sizeof bytes);
    return text + " format=\"binary\">" + Base64(content) + "</DataArray>\n";
}

/// A text of field data: its bytes as numbers, with 0 at the end.
std::string text_array(const std::string& name, std::string_view content) {
    std::string text =
        "<DataArray type=\"String\" Name=\"" + name + "\" NumberOfTuples=\"1\" format=\"ascii\">";
    for (const char c : content) {
        text += std::to_string(static_cast<int>(static_cast<unsigned char>(c))) + " ";
    }
    return text + "0</DataArray>\n";
}

/// The corners of all cells, each once.
class CPoints {
  public:
    explicit CPoints(const std::array<double, 3>& spacing) : m_spacing(spacing) {}

    std::int64_t NumberOf(const std::array<long long, 3>& cornerPx) {
        const auto [found, isNew] = m_known.try_emplace(cornerPx, static_cast<std::int64_t>(m_known.size()));
        for (std::size_t axis = 0; isNew && axis < 3; ++axis) {
            m_points.numbers.push_back(static_cast<double>(cornerPx[axis]) * m_spacing[axis]);
        }
        return found->second;
    }
    const SNumbers<double>& Points() const noexcept { return m_points; }
    std::size_t Count() const noexcept { return m_known.size(); }

  private:
    std::array<double, 3> m_spacing;
    std::map<std::array<long long, 3>, std::int64_t> m_known;
    SNumbers<double> m_points{"points", {"x", "y", "z"}};
};

struct SCells {
    SNumbers<std::int64_t> connectivity{"connectivity", {""}};
    SNumbers<std::int64_t> offsets{"offsets", {""}};
    SNumbers<std::uint8_t> types{"types", {""}};
};

/// Around the lower face, in 3D then around the upper one.
void add_cell(const SFieldResult& field, int dim, CPoints& points, SCells& cells) {
    const auto& lower = field.box.Point0();
    const auto& upper = field.box.Point1();
    for (int face = 0; face < (dim == 3 ? 2 : 1); ++face) {
        const long long z = dim == 2 ? 0 : face == 0 ? lower[2] : upper[2];
        for (const auto& [x, y] : {std::pair{lower[0], lower[1]}, std::pair{upper[0], lower[1]},
                                   std::pair{upper[0], upper[1]}, std::pair{lower[0], upper[1]}}) {
            cells.connectivity.numbers.push_back(points.NumberOf({x, y, z}));
        }
    }
    cells.offsets.numbers.push_back(static_cast<std::int64_t>(cells.connectivity.numbers.size()));
    cells.types.numbers.push_back(dim == 3 ? HEXAHEDRON : QUADRILATERAL);
}

std::array<double, 9> full_tensor(const Impl::STensorValues& values) {
    std::array<double, 9> tensor{};
    for (std::size_t i = 0; i < values.tensor.dim; ++i) {
        for (std::size_t j = 0; j < values.tensor.dim; ++j) {
            tensor[3 * i + j] = values.tensor(i, j);
        }
    }
    return tensor;
}

template <std::size_t Count>
void append(SNumbers<double>& array, const std::array<double, Count>& numbers, bool areThere) {
    for (const double number : numbers) {
        array.numbers.push_back(areThere ? number : std::numeric_limits<double>::quiet_NaN());
    }
}

const std::vector<const char*> TENSOR_COMPONENTS{"xx", "xy", "xz", "yx", "yy", "yz", "zx", "zy", "zz"};
const std::vector<const char*> VECTOR_COMPONENTS{"x", "y", "z"};

std::int64_t number_of(Impl::EFieldStatus status) {
    switch (status) {
    case Impl::EFieldStatus::lowFraction:
        return 1;
    case Impl::EFieldStatus::noForeground:
    case Impl::EFieldStatus::noSubfields:
        return 2;
    case Impl::EFieldStatus::ok:
        break;
    }
    return 0;
}

std::string cell_data(std::span<const SFieldResult> fields, int dim) {
    SNumbers<double> tensors{"orientation_tensor", TENSOR_COMPONENTS};
    SNumbers<double> eigenvalues{"eigenvalues", {"1", "2", "3"}};
    SNumbers<double> axes{"mean_axis", VECTOR_COMPONENTS};
    SNumbers<double> anisotropies{"anisotropy", {""}};
    SNumbers<double> differences{"difference_rad", {""}};
    SNumbers<std::int64_t> pixels{"foreground_pixels", {""}};
    SNumbers<double> fractions{"foreground_fraction", {""}};
    SNumbers<double> confidences{"mean_confidence", {""}};
    SNumbers<double> doubts{"doubtful_fraction", {""}};
    SNumbers<std::int64_t> status{"status", {""}};
    SNumbers<std::int64_t> lower{"lower_px", VECTOR_COMPONENTS};
    SNumbers<std::int64_t> upper{"upper_px", VECTOR_COMPONENTS};
    CPolls polls(FIELDS_BETWEEN_POLLS);
    for (const SFieldResult& field : fields) {
        const bool isMeasured = HasValues(field);
        append(tensors, full_tensor(field.values), isMeasured);
        append(eigenvalues, field.values.eigenvalues, isMeasured);
        append(axes, field.values.meanDirection, isMeasured);
        append(anisotropies, std::array{field.values.anisotropy}, isMeasured);
        append(differences, std::array{field.differenceRad}, isMeasured);
        pixels.numbers.push_back(field.foregroundPixels);
        fractions.numbers.push_back(field.foregroundFraction);
        append(confidences, std::array{field.meanConfidence.value_or(0.0)}, field.meanConfidence.has_value());
        append(doubts, std::array{field.doubtfulFraction.value_or(0.0)}, field.doubtfulFraction.has_value());
        status.numbers.push_back(number_of(field.status));
        for (int axis = 0; axis < 3; ++axis) {
            lower.numbers.push_back(axis < dim ? field.box.Point0()[axis] : 0);
            upper.numbers.push_back(axis < dim ? field.box.Point1()[axis] : 1);
        }
        polls.Add(1);
    }
    return "<CellData Scalars=\"anisotropy\" Vectors=\"mean_axis\" Tensors=\"orientation_tensor\">\n" +
           array_text(tensors) + array_text(eigenvalues) + array_text(axes) + array_text(anisotropies) +
           array_text(differences) + array_text(pixels) + array_text(fractions) + array_text(confidences) +
           array_text(doubts) + array_text(status) + array_text(lower) + array_text(upper) + "</CellData>\n";
}

std::string field_data(const Impl::SAnalysisResult& result, const SRunRecord& record) {
    SNumbers<double> tensor{"field_tensor", TENSOR_COMPONENTS};
    SNumbers<double> eigenvalues{"field_eigenvalues", {"1", "2", "3"}};
    SNumbers<double> axis{"field_mean_axis", VECTOR_COMPONENTS};
    append(tensor, full_tensor(result.field.values), true);
    append(eigenvalues, result.field.values.eigenvalues, true);
    append(axis, result.field.values.meanDirection, true);
    return "<FieldData>\n" + array_text(tensor, true) + array_text(eigenvalues, true) +
           array_text(axis, true) + text_array("length_unit", record.parameters.request.lengthUnit) +
           text_array("conventions",
                      "x is the image's fastest axis, z its slice axis; lengths count from the outer edge of "
                      "the first pixel; tensors are row-major, off-diagonal components are not doubled; axes "
                      "have no sign; NaN where there is no foreground") +
           text_array("source", SourceText(record)) + "</FieldData>\n";
}

} // namespace

std::string FieldsVtu(const Impl::SAnalysisResult& result, const SRunRecord& record) {
    const std::span<const SFieldResult> fields = result.ListsSubfields()
                                                     ? std::span<const SFieldResult>(result.subfields)
                                                     : std::span<const SFieldResult>(&result.field, 1);
    CPoints points(result.parameters.spacing);
    SCells cells;
    CPolls polls(FIELDS_BETWEEN_POLLS);
    for (const SFieldResult& field : fields) {
        add_cell(field, result.dim, points, cells);
        polls.Add(1);
    }
    const char* const byteOrder = std::endian::native == std::endian::big ? "BigEndian" : "LittleEndian";
    return "<?xml version=\"1.0\"?>\n<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"" +
           std::string(byteOrder) + "\" header_type=\"UInt64\">\n<UnstructuredGrid>\n" +
           field_data(result, record) + "<Piece NumberOfPoints=\"" + std::to_string(points.Count()) +
           "\" NumberOfCells=\"" + std::to_string(fields.size()) + "\">\n" + cell_data(fields, result.dim) +
           "<Points>\n" + array_text(points.Points()) + "</Points>\n<Cells>\n" +
           array_text(cells.connectivity) + array_text(cells.offsets) + array_text(cells.types) +
           "</Cells>\n</Piece>\n</UnstructuredGrid>\n</VTKFile>\n";
}

} // namespace TEVRA::report
