// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/Object.h"

#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueMap.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace TEVRA {
namespace {

static_assert(std::has_virtual_destructor_v<IObject>);
static_assert(std::has_virtual_destructor_v<IPluginObject>);
static_assert(std::has_virtual_destructor_v<IVectorizable>);

TEST(Object, TakesAnInstanceName) {
    IObject object;
    EXPECT_EQ(object.Instance(), "");
    object.SetInstance("smoothing");
    EXPECT_EQ(object.Instance(), "smoothing");
    object.SetInstance(nullptr);
    EXPECT_EQ(object.Instance(), "");
}

class CSmoothingPlugin : public IPluginObject {
  public:
    void Init(const CValueMap* setup) override {
        m_sigmaPx = setup == nullptr ? 1.0 : setup->Entry("sigma")->Double();
    }
    void GetPluginSetup(CValueMap& setup) override { setup.SetEntry("sigma", new CValueDouble(m_sigmaPx)); }

  private:
    double m_sigmaPx = 0.0;
};

TEST(PluginObject, CarriesASetupFromOneObjectToAnother) {
    CSmoothingPlugin first;
    IPluginObject& plugin = first;
    plugin.Init(nullptr);
    CValueMap setup;
    plugin.GetPluginSetup(setup);
    EXPECT_EQ(setup.Entry("sigma")->Double(), 1.0);
    setup.Entry("sigma")->Double() = 2.5;
    CSmoothingPlugin second;
    second.Init(&setup);
    CValueMap readBack;
    second.GetPluginSetup(readBack);
    EXPECT_TRUE(readBack.EqualData(setup));
}

} // namespace
} // namespace TEVRA
