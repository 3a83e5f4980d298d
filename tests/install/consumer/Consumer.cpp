// SPDX-License-Identifier: BSD-3-Clause
// Analyses an image of one bright line along x with the installed library.

#include <FilterOrientations/SubfieldFiberDirections.h>
#include <zeklib2image/Image.h>

#include <cmath>
#include <cstdio>
#include <memory>

int main() {
    TEVRA::CImage image(TEVRA::IMAGE_GREY_8, TEVRA::CSize(64, 64), TEVRA::CSize(0, 0, 0));
    for (int y = 29; y <= 34; ++y) {
        for (int x = 0; x < 64; ++x) {
            image.Pixels<unsigned char>()[y * 64 + x] = 200;
        }
    }
    TEVRA::CSubfieldFiberDirections analysis(3.0, 1.25, -1, -1, -1);
    std::string parameters;
    const std::unique_ptr<TEVRA::CValueMap> document(analysis.Compute(image, parameters, nullptr, false));
    const double axx = document->Entry("Field/Orientation tensor/xx")->Double();
    std::printf("a_xx = %g\n", axx);
    return std::abs(axx - 1.0) < 1e-6 ? 0 : 1;
}
