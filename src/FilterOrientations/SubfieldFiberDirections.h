// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "FilterOrientations/HessianOrientations.h"
#include "Numeric/Matrix.h"
#include "VexoBase/Algorithm.h"
#include "zeklib2core/ValueMap.h"
#include "zeklib2image/Box.h"

#include <string>
#include <vector>

namespace TEVRA {

struct CTestAccess;

/// Field-by-field fiber direction analysis of a 2D or 3D image: orientation tensors of rectangular subfields
/// and of the whole evaluated area, as a result document.
///
///     CSubfieldFiberDirections analysis(fiberRadius, 1.25, 100, 100, 100);
///     std::string parameters;
///     std::unique_ptr<CValueMap> document(analysis.Compute(image, parameters, nullptr, false));
///     document->Entry("Field/Orientation tensor/xx")->Double();
///
/// One object serves one call at a time; it may be used for many.
class CSubfieldFiberDirections : public CAlgorithm {
  public:
    static const char* const sFiberDirectionsId;
    static const char* const sFieldFiberDirectionsId;
    static const char* const sSubfieldFiberDirectionsId;
    static const char* const sSubfieldProfiles;

    /// @param fiberRadius in the unit of the image's pixel spacing.
    /// @param otsuFactor factor on Otsu's threshold of the smoothed image.
    /// @param subfieldSizeX, subfieldSizeY, subfieldSizeZ in pixels; negative for none: then only the whole
    ///        field is analysed. For a 2D image the size along z must be below twice the radius; 0 serves.
    CSubfieldFiberDirections(double fiberRadius, double otsuFactor, long long subfieldSizeX,
                             long long subfieldSizeY, long long subfieldSizeZ);
    CSubfieldFiberDirections(const CSubfieldFiberDirections& other);
    CSubfieldFiberDirections& operator=(const CSubfieldFiberDirections&) = delete;
    ~CSubfieldFiberDirections() override;

    /// Lets the estimator work on the threads of a runner (CHessianOrientations::LendThreads).
    void LendThreads(ITaskRunner* runner) noexcept { m_estimator.LendThreads(runner); }

    /// Runs the analysis.
    /// @param image GREY_8, 2D or 3D, equal spacing along all axes.
    /// @param parameters a summary "otsufactor=...,fiberradius=...,[subfieldsize=...,]" is appended to it.
    /// @param mask BINARY_FG of the same size that selects the foreground, or null for the automatic
    /// threshold.
    /// @param fourthOrder report fourth-order tensors, too.
    /// @return the result document, owned by the caller.
    /// @throws CException for unsuitable images or sizes, without any foreground, or if the monitor cancelled: a
    /// cancelled run has no document.
    CValueMap* Compute(IImage& image, std::string& parameters, IImage* mask, bool fourthOrder);

    /// Hands over the angle images of the last run (CHessianOrientations::release): colatitude and longitude
    /// of a volume, or the in-plane angle of a 2D image.
    void GetDirections(const IImage*& first, const IImage*& second);
    void GetDirections(const IImage*& first);

    /// The grey-value threshold of the last run without a mask.
    double Threshold() const noexcept { return m_estimator.Threshold(); }

    /// The values of one field from the sum of its tensors. The caller owns the map.
    static CValueMap* gen_FiberDirectionsValues(const CMatrix<double>& T, long long count, double fraction,
                                                CTensorRank4* T4);
    /// Adds the angle between a field's mean direction and another one, in radians, in [0, pi/2].
    static void AddDifferenceToMeanDirToMap(CValueMap* map, const std::vector<double>& globalDir);
    /// The same for every subfield entry that has a mean direction.
    static void AddDifferenceToMeanDirToEachSubfieldEntry(CValueMap* subfields,
                                                          const CValueMap* globalMeanDir);
    /// The subfields averaged slice by slice. @param spacing one number per axis. The caller owns the map.
    CValueMap* CreateAveragedProfile(const CValueMap& root, const double* spacing, int dim);
    /// Asks the host to open an attribute view of the document, under "output/views/create" of `target`.
    /// @param document lent; may be null. `name`, `value` and `extra` are not used.
    static void RepackMeasuredFeaturesForVexo(CValueMap& target, const char* name, const CValue* value,
                                              const char* extra, CValueMap* document);

  private:
    friend struct CTestAccess;

    bool has_full_subfield_size(const CBox& box, int dim) const;
    std::string gen_fieldid(long long x0, long long y0, long long z0, long long dim, int width);
    void add_subfield_limits(CValueMap* map, const CBox& box, int dim);
    void check_radius(const CSize& imageSize, double fiberRadiusPx, bool listsSubfields) const;

    long long m_nSubfieldSizeX;
    long long m_nSubfieldSizeY;
    long long m_nSubfieldSizeZ;
    double m_fFiberRadius;
    double m_fOtsuFactor;
    CHessianOrientations m_estimator;
};

} // namespace TEVRA
