#pragma once

#include <complex>
#include <cstddef>
#include <vector>

namespace Tarsel::Proc {

/// The forward Fourier transform of real signals, in double precision. The tables of a size are made once and kept
/// until another size is asked for. One thread at a time.
class FourierTransform {
  public:
    using Spectrum = std::vector<std::complex<double>>;

    /// The `size` bins of the signal's first `size` values, zeros behind a shorter one. Valid until the next call.
    /// Throws `std::invalid_argument` for a size that isn't a power of two.
    Spectrum const& Transform(std::vector<double> const& signal, std::size_t size);

  private:
    void Plan(std::size_t size);

    /// The roots of unity of the first half circle, clockwise from 1.
    std::vector<std::complex<double>> roots;
    /// Where each value of the signal goes: its index with the bits in reverse.
    std::vector<std::size_t> places;
    Spectrum spectrum;
};

}  // namespace Tarsel::Proc
