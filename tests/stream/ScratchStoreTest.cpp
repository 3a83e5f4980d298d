// SPDX-License-Identifier: BSD-3-Clause
#include "stream/ScratchStore.h"

#include "support/TemporaryFolder.h"
#include "volume/Failure.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sys/resource.h>
#include <vector>

using namespace TEVRA;
using namespace TEVRA::test;
using stream::CScratchStore;
using stream::SScratchPlace;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::size_t SLICE_PIXELS = 1000;
constexpr stream::SSliceRange SLICES{0, 10};

class ScratchStores : public testing::Test {
  protected:
    SScratchPlace place(SScratchPlace::EContent content = SScratchPlace::EContent::made) const {
        return {SScratchPlace::EKind::file, m_folder.Path(), m_folder / "slices", content};
    }
    CTemporaryFolder m_folder;
};

using ScratchStoresDeathTest = ScratchStores;

TEST_F(ScratchStores, AreReusedWithWhatTheyHeld) {
    {
        const CScratchStore store(place(), SLICES, SLICE_PIXELS);
        store.Slice(7)[3] = 42.0F;
    }
    const CScratchStore store(place(SScratchPlace::EContent::reused), SLICES, SLICE_PIXELS);
    EXPECT_EQ(store.Slice(7)[3], 42.0F);
}

TEST_F(ScratchStores, SayThatTheirFileHasBeenCutOff) {
    const CScratchStore store(place(), SLICES, SLICE_PIXELS);
    std::vector<float> strip(SLICE_PIXELS);
    store.Load({9, 0}, 0, strip);
    std::filesystem::resize_file(m_folder / "slices", 100);
    errno = EINTR; // of an earlier call
    try {
        store.Load({9, 0}, 0, strip);
        FAIL() << "read what is not there";
    } catch (const volume::CEnvironmentError& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("Input/output error"));
    }
}

TEST_F(ScratchStores, AreNeverMadeOfWhatIsThere) {
    WriteFile(m_folder / "victim", "precious");
    std::filesystem::create_symlink("victim", m_folder / "slices");
    EXPECT_THROW(CScratchStore(place(), SLICES, SLICE_PIXELS), volume::CEnvironmentError);
    EXPECT_THROW(CScratchStore(place(SScratchPlace::EContent::reused), SLICES, SLICE_PIXELS),
                 volume::CEnvironmentError);
    std::filesystem::remove(m_folder / "slices");
    std::filesystem::create_hard_link(m_folder / "victim", m_folder / "slices");
    EXPECT_THROW(CScratchStore(place(), SLICES, SLICE_PIXELS), volume::CEnvironmentError);
    EXPECT_EQ(ReadFile(m_folder / "victim"), "precious");
}

TEST_F(ScratchStoresDeathTest, LeaveNoFileBehindThatThereIsNoRoomFor) {
    EXPECT_EXIT(
        {
            std::signal(SIGXFSZ, SIG_IGN);
            rlimit limit{};
            limit.rlim_cur = limit.rlim_max = 10000;
            setrlimit(RLIMIT_FSIZE, &limit);
            try {
                const CScratchStore store(place(), SLICES, SLICE_PIXELS);
            } catch (const volume::CEnvironmentError&) {
                std::_Exit(0);
            }
            std::_Exit(1);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_THAT(m_folder.Entries(), IsEmpty());
}

} // namespace
