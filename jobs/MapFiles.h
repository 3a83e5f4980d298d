// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/SliceSink.h"
#include "volume/MetaImageWriter.h"

#include <memory>
#include <string>

namespace TEVRA::jobs {

/// The maps as MetaImage files, written slab by slab; several processes may write into the same files.
class CMapFiles : public stream::ISliceSink {
  public:
    struct SPaths {
        std::string theta;
        std::string phi;        ///< empty in 2D
        std::string confidence; ///< empty if it is not wanted
    };

    /// Makes the files in their full size. One process does, before the others open them.
    static void Create(const SPaths& paths, const volume::SMetaImageHeader& header);

    CMapFiles(const SPaths& paths, const volume::SMetaImageHeader& header);

    bool WantsConfidence() const override { return m_confidence != nullptr; }
    void TakeAngles(const stream::SFoundSlices& found) override;
    void Close();

  private:
    volume::CMetaImageParts m_theta;
    std::unique_ptr<volume::CMetaImageParts> m_phi;
    std::unique_ptr<volume::CMetaImageParts> m_confidence;
};

} // namespace TEVRA::jobs
