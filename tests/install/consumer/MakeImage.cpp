// SPDX-License-Identifier: BSD-3-Clause
// Writes a float image of fibers along x. usage: make_image FILE.mha

#include <phantom/Phantom.h>
#include <volume/MetaImageWriter.h>
#include <zeklib2image/Image.h>

#include <algorithm>
#include <optional>

int main(int count, char** arguments) {
    if (count != 2) {
        return 2;
    }
    TEVRA::phantom::SPhantomOptions options;
    options.sizePx = {48, 40, 36};
    options.fiberRadiusPx = 3.0;
    options.places = TEVRA::phantom::SParallelGrid{12.0};
    options.directions = TEVRA::phantom::SOneAxis{{1.0, 0.0, 0.0}};
    const TEVRA::phantom::SPhantom phantom = TEVRA::phantom::MakePhantom(options);
    TEVRA::CImage image(TEVRA::IMAGE_GREY_F, options.sizePx, TEVRA::CSize(0, 0, 0));
    std::transform(phantom.image->Pixels<unsigned char>(),
                   phantom.image->Pixels<unsigned char>() + options.sizePx.Elements(), image.Pixels<float>(),
                   [](unsigned char grey) { return 0.001F * static_cast<float>(grey); });
    TEVRA::volume::WriteMetaImage(arguments[1], image, std::nullopt);
}
