// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/AngleMaps.h"

#include <gtest/gtest.h>

#include <vector>

namespace TEVRA::jobs {
namespace {

/// Two maps, right in this order.
struct SPair {
    const char* what;
    std::vector<float> theta;
    std::vector<float> phi;
};

constexpr float NO_THETA = -1.0F;
constexpr float NO_PHI = -4.1415925F;
constexpr float HALF_PI = 1.5707964F;

TEST(LooksSwapped, TellsColatitudesFromLongitudes) {
    for (const SPair& pair : std::vector<SPair>{
             {"marked pixels", {0.3F, NO_THETA, 0.2F}, {0.4F, NO_PHI, 0.5F}},
             {"longitudes of both signs", {0.3F, HALF_PI, 0.2F}, {0.4F, -0.3F, -0.5F}},
             {"longitudes beyond pi/2", {0.3F, HALF_PI}, {0.4F, 3.1415927F}},
             {"maps whose marker is -1 in both", {0.3F, NO_THETA, 0.0F}, {0.4F, NO_THETA, 2.1F}}}) {
        EXPECT_FALSE(LooksSwapped(pair.theta, pair.phi)) << pair.what;
        EXPECT_TRUE(LooksSwapped(pair.phi, pair.theta)) << pair.what;
    }
}

TEST(LooksSwapped, IsNeverSaidOfWhatMayBeRight) {
    for (const SPair& pair :
         std::vector<SPair>{{"the first quarter", {0.3F, 0.7F}, {0.4F, 1.1F}},
                            {"colatitudes to pi", {0.3F, 2.9F}, {0.4F, -0.3F}},
                            {"another marker", {0.3F, -2.0F, -2.0F}, {0.4F, 0.0F, 0.0F}},
                            {"a marker beyond all angles", {0.3F, -9999.0F, -9998.0F}, {0.4F, 0.0F, 0.0F}},
                            {"the longitudes' marker in both", {0.3F, NO_PHI}, {0.4F, NO_PHI}},
                            {"no axis at all", {NO_THETA, NO_THETA}, {NO_PHI, NO_PHI}}}) {
        EXPECT_FALSE(LooksSwapped(pair.theta, pair.phi)) << pair.what;
    }
}

} // namespace
} // namespace TEVRA::jobs
