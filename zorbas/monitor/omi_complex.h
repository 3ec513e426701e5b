// A complex number of two doubles with the arithmetic a solver's frequency-domain code needs.
// A plain value: copies are two doubles, every operation is inline, and the layout (real, then
// imaginary) matches a Fortran COMPLEX*16 and std::complex<double>, so arrays can be passed as is.
#pragma once

#include <cmath>

struct omi_complex {
    double re = 0.0;
    double im = 0.0;

    constexpr omi_complex() = default;
    constexpr omi_complex(double real, double imaginary = 0.0) : re(real), im(imaginary) {}

    static omi_complex Polar(double magnitude, double angle) {
        return {magnitude * std::cos(angle), magnitude * std::sin(angle)};
    }

    constexpr double Real() const { return re; }
    constexpr double Imag() const { return im; }
    // |z| without overflow or underflow in the squares.
    double Abs() const { return std::hypot(re, im); }
    double Arg() const { return std::atan2(im, re); }
    constexpr double Norm() const { return re * re + im * im; }
    constexpr omi_complex Conj() const { return {re, -im}; }

    constexpr omi_complex& operator+=(const omi_complex& b) {
        re += b.re;
        im += b.im;
        return *this;
    }
    constexpr omi_complex& operator-=(const omi_complex& b) {
        re -= b.re;
        im -= b.im;
        return *this;
    }
    constexpr omi_complex& operator*=(const omi_complex& b) {
        double r = re * b.re - im * b.im;
        im = re * b.im + im * b.re;
        re = r;
        return *this;
    }
    // Smith's division: scales by the larger part of the divisor, so that dividing by a number
    // near the limits of double neither overflows nor loses all digits.
    omi_complex& operator/=(const omi_complex& b) {
        if (std::fabs(b.re) >= std::fabs(b.im)) {
            double r = b.im / b.re, d = b.re + b.im * r;
            double nr = (re + im * r) / d;
            im = (im - re * r) / d;
            re = nr;
        } else {
            double r = b.re / b.im, d = b.re * r + b.im;
            double nr = (re * r + im) / d;
            im = (im * r - re) / d;
            re = nr;
        }
        return *this;
    }

    friend constexpr omi_complex operator+(omi_complex a, const omi_complex& b) { return a += b; }
    friend constexpr omi_complex operator-(omi_complex a, const omi_complex& b) { return a -= b; }
    friend constexpr omi_complex operator*(omi_complex a, const omi_complex& b) { return a *= b; }
    friend omi_complex operator/(omi_complex a, const omi_complex& b) { return a /= b; }
    friend constexpr omi_complex operator-(const omi_complex& a) { return {-a.re, -a.im}; }
    friend constexpr bool operator==(const omi_complex& a, const omi_complex& b) {
        return a.re == b.re && a.im == b.im;
    }
};

inline omi_complex Sqrt(const omi_complex& z) {
    double m = z.Abs();
    double r = std::sqrt((m + std::fabs(z.re)) / 2.0);
    if (r == 0.0) return {};
    if (z.re >= 0.0) return {r, z.im / (2.0 * r)};
    return {std::fabs(z.im) / (2.0 * r), std::copysign(r, z.im)};
}

inline omi_complex Exp(const omi_complex& z) { return omi_complex::Polar(std::exp(z.re), z.im); }
