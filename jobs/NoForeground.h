// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Subfields/AnalysisRequest.h"
#include "jobs/Failure.h"
#include "stream/StreamingAnalysis.h"

namespace TEVRA::jobs {

/// The analysis found nothing to measure. The text says why and what to do; of thresholds front ends speak in their own
/// words, and add what to do there.
class CNoForegroundError : public CWorkError {
  public:
    enum class EReason {
        constantImage,     ///< all pixels have the same grey value
        emptyMask,         ///< the mask selects no pixel of the evaluated area
        threshold,         ///< nothing there exceeds the threshold of the request
        automaticThreshold ///< nor the automatic one
    };
    /// @param request completed.
    CNoForegroundError(stream::CNoForegroundError::EReason reason, bool hasMask,
                       const Impl::SAnalysisRequest& request);
    EReason Reason() const noexcept { return m_reason; }

  private:
    CNoForegroundError(EReason reason, const Impl::SAnalysisRequest& request);

    EReason m_reason;
};

} // namespace TEVRA::jobs
