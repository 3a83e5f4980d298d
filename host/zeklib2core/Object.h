// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <vector>

namespace TEVRA {

class CValueMap;

/// Host base of named objects.
class IObject {
  public:
    IObject() = default;
    IObject(const IObject&) = default;
    IObject& operator=(const IObject&) = default;
    virtual ~IObject();

    /// Sets the instance name; null counts as empty.
    virtual void SetInstance(const char* name);
    const std::string& Instance() const noexcept { return m_instance; }

  private:
    std::string m_instance;
};

/// An object whose setup can be written to and read back from a value map.
class IPluginObject {
  public:
    IPluginObject() = default;
    IPluginObject(const IPluginObject&) = default;
    IPluginObject& operator=(const IPluginObject&) = default;
    virtual ~IPluginObject();

    /// Configures the object; null asks for its defaults.
    virtual void Init(const CValueMap* setup) = 0;
    /// Writes the object's setup into `setup`, in the form that `Init` reads.
    virtual void GetPluginSetup(CValueMap& setup) = 0;
};

/// An object that can describe itself as a list of texts.
class IVectorizable {
  public:
    IVectorizable() = default;
    IVectorizable(const IVectorizable&) = default;
    IVectorizable& operator=(const IVectorizable&) = default;
    virtual ~IVectorizable();

    virtual std::vector<std::string> Vectorize() const = 0;
};

} // namespace TEVRA
