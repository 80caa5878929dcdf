#include "Proc/Algorithms/FourierTransform.h"

#include <bit>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

// The codec library has a transform, too, but beyond 131072 points it falls back to one of quadratic time, and a
// picture may last a second of sound at any rate.

FourierTransform::Spectrum const& FourierTransform::Transform(std::vector<double> const& signal, std::size_t size) {
    if (!std::has_single_bit(size))
        TARSEL_THROW(std::invalid_argument, "A spectrum can't have " + std::to_string(size) + " bins");
    if (places.size() != size) Plan(size);
    for (std::size_t i = 0; i < size; ++i) spectrum[places[i]] = i < signal.size() ? signal[i] : 0.0;
    for (std::size_t half = 1; half < size; half *= 2) {
        std::size_t const stride = size / (2 * half);
        for (std::size_t begin = 0; begin < size; begin += 2 * half) {
            for (std::size_t i = 0; i < half; ++i) {
                std::complex<double>& low = spectrum[begin + i];
                std::complex<double>& high = spectrum[begin + half + i];
                std::complex<double> const root = roots[i * stride];
                // Written out: the operator also looks after infinities, which costs more than the product.
                std::complex<double> const turned(high.real() * root.real() - high.imag() * root.imag(),
                                                  high.real() * root.imag() + high.imag() * root.real());
                high = low - turned;
                low += turned;
            }
        }
    }
    return spectrum;
}

void FourierTransform::Plan(std::size_t size) {
    spectrum.assign(size, 0.0);
    roots.clear();
    for (std::size_t i = 0; i < size / 2; ++i)
        roots.push_back(std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(size)));
    places.assign(size, 0);
    for (std::size_t i = 1; i < size; ++i) places[i] = places[i / 2] / 2 + (i % 2 != 0 ? size / 2 : 0);
}

}  // namespace Tarsel::Proc
