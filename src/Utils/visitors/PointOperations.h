// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Utils/TypeName.h"

#include <complex>
#include <string>

namespace TEVRA::visitors {

/// Sets every pixel to a value.
template <typename PixelT>
class CInitializer {
  public:
    using PixelType = PixelT;

    explicit CInitializer(PixelT value) : m_value(value) {}

    void Reset() {}
    void operator()(PixelT& pixel) const { pixel = m_value; }

    static std::string TypeName() {
        return "class TEVRA::visitors::CInitializer<" + Impl::TypeName<PixelT>() + ">";
    }

  private:
    PixelT m_value;
};

/// Copies the second image into the first, pixel by pixel.
template <typename PixelT>
class CCopy {
  public:
    using FirstPixelType = PixelT;
    using SecondPixelType = const PixelT;

    void Reset() {}
    void operator()(PixelT& target, const PixelT& source) const { target = source; }

    static std::string TypeName() { return "class TEVRA::visitors::CCopy<" + Impl::TypeName<PixelT>() + ">"; }
};

/// Multiplies the first image by the second, pixel by pixel.
template <typename PixelT>
class CMult;

template <>
class CMult<std::complex<float>> {
  public:
    using FirstPixelType = std::complex<float>;
    using SecondPixelType = const std::complex<float>;

    void Reset() {}
    void operator()(std::complex<float>& first, const std::complex<float>& second) const {
        // Written out: the standard library's operator also repairs NaN results and does not vectorise.
        const float re = first.real() * second.real() - first.imag() * second.imag();
        const float im = first.real() * second.imag() + first.imag() * second.real();
        first = {re, im};
    }

    static std::string TypeName() {
        return "class TEVRA::visitors::CMult<" + Impl::TypeName<std::complex<float>>() + ">";
    }
};

} // namespace TEVRA::visitors
