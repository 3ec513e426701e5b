// Number formatting: the forms printf also writes are compared with it on a spread of values;
// engineering and the special values against their own rules; and a million random doubles read
// back to within the digits asked.
#include "zorbas/text/ZORBasUtlNumFormat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

std::string Text(ZORBasUtlNumFormat::Form form, int digits, double value, int width = 0) {
    return ZORBasUtlNumFormat(form, digits, width).Text(value).CStr();
}

std::string Printf(const char* conversion, int width, int precision, double value) {
    char format[16], text[512];
    std::snprintf(format, sizeof format, "%%*.*%s", conversion);
    std::snprintf(text, sizeof text, format, width, precision, value);
    return text;
}

std::vector<double> Spread() {
    std::vector<double> values = {0.0,
                                  -0.0,
                                  1.0,
                                  -1.0,
                                  0.5,
                                  9.5,
                                  99.995,
                                  999.5,
                                  999999.5,
                                  1e-5,
                                  1.5e-4,
                                  123456.789,
                                  1e15,
                                  1e16,
                                  1e22,
                                  1e-300,
                                  1e300,
                                  2.5e-308,
                                  4.9e-324,
                                  1.7976931348623157e308,
                                  3.14159265358979,
                                  -2.718281828,
                                  0.1,
                                  0.2,
                                  0.3,
                                  1234.5};
    std::mt19937_64 rng(3);
    for (int i = 0; i < 2000; ++i) {
        double mantissa = std::uniform_real_distribution<double>(-10, 10)(rng);
        values.push_back(std::ldexp(mantissa, static_cast<int>(rng() % 200) - 100));
    }
    return values;
}

TEST(NumFormat, ScientificFixedAndAutomaticMatchPrintf) {
    for (double v : Spread())
        for (int digits : {1, 2, 6, 9, 15, 17})
            for (int width : {0, 14}) {
                EXPECT_EQ(Text(ZORBasUtlNumFormat::Scientific, digits, v, width),
                          Printf("E", width, digits - 1, v))
                    << v << " digits " << digits;
                EXPECT_EQ(Text(ZORBasUtlNumFormat::Automatic, digits, v, width),
                          Printf("G", width, digits, v))
                    << v << " digits " << digits;
                if (std::fabs(v) < 1e30) {
                    EXPECT_EQ(Text(ZORBasUtlNumFormat::Fixed, digits - 1, v, width),
                              Printf("f", width, digits - 1, v))
                        << v << " decimals " << digits - 1;
                }
            }
}

TEST(NumFormat, EngineeringKeepsExponentsAMultipleOfThree) {
    using F = ZORBasUtlNumFormat;
    EXPECT_EQ(Text(F::Engineering, 6, 12345.678), "12.3457E+03");
    EXPECT_EQ(Text(F::Engineering, 6, 123456.78), "123.457E+03");
    EXPECT_EQ(Text(F::Engineering, 6, 1234567.8), "1.23457E+06");
    EXPECT_EQ(Text(F::Engineering, 4, 0.000123456), "123.5E-06");
    EXPECT_EQ(Text(F::Engineering, 4, 0.00123456), "1.235E-03");
    EXPECT_EQ(Text(F::Engineering, 4, -0.0123456), "-12.35E-03");
    EXPECT_EQ(Text(F::Engineering, 3, 999.6), "1.00E+03") << "rounding carries into the exponent";
    EXPECT_EQ(Text(F::Engineering, 1, 12345.0), "10E+03") << "zeros fill the leading places";
    EXPECT_EQ(Text(F::Engineering, 2, 12345.0), "12E+03");
    EXPECT_EQ(Text(F::Engineering, 1, 123456.0), "100E+03");
    EXPECT_EQ(Text(F::Engineering, 3, 0.0), "0.00E+00");
    EXPECT_EQ(Text(F::Engineering, 3, -0.0), "-0.00E+00");
    EXPECT_EQ(Text(F::Engineering, 3, 1.5e-301), "150E-303") << "three exponent digits";
    EXPECT_EQ(Text(F::Engineering, 3, 2e300), "2.00E+300");
    EXPECT_EQ(Text(F::Engineering, 5, 42.0, 14), "    42.000E+00");
    EXPECT_EQ(Text(F::Engineering, 5, 42.0, 14).size(), 14u);
}

TEST(NumFormat, SpecialValuesReadAsInASolverFile) {
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (auto form : {ZORBasUtlNumFormat::Automatic, ZORBasUtlNumFormat::Scientific,
                      ZORBasUtlNumFormat::Engineering, ZORBasUtlNumFormat::Fixed}) {
        EXPECT_EQ(Text(form, 6, nan), "NaN");
        EXPECT_EQ(Text(form, 6, -nan), "NaN");
        EXPECT_EQ(Text(form, 6, inf), "Infinity");
        EXPECT_EQ(Text(form, 6, -inf), "-Infinity");
        EXPECT_EQ(Text(form, 6, -inf, 12), "   -Infinity");
    }
    EXPECT_EQ(Text(ZORBasUtlNumFormat::Scientific, 3, 1.0), "1.00E+00") << "two exponent digits";
    EXPECT_EQ(Text(ZORBasUtlNumFormat::Scientific, 3, 1e-100), "1.00E-100");
    char buffer[ZORBasUtlNumFormat::kBufferSize];
    ZORBasUtlNumFormat widest(ZORBasUtlNumFormat::Fixed, 17, 64);
    int length = widest.Format(-1.7976931348623157e308, buffer);
    EXPECT_EQ(length, static_cast<int>(std::strlen(buffer)));
    EXPECT_EQ(length, 1 + 309 + 1 + 17);
}

// Half a unit of the last digit, relative to the leading digit: 5 x 10^-digits.
void ExpectReadBack(const ZORBasUtlNumFormat& format, double value, int digits) {
    char text[ZORBasUtlNumFormat::kBufferSize];
    format.Format(value, text);
    double back = std::strtod(text, nullptr);
    if (digits == 17) {
        ASSERT_EQ(back, value) << text;
    } else {
        double bound = 5 * std::pow(10.0, -digits) * std::fabs(value) * (1 + 1e-12);
        ASSERT_LE(std::fabs(back - value), bound) << text << " from " << value;
    }
}

TEST(NumFormat, AMillionRandomDoublesReadBackWithinTheirDigits) {
    std::mt19937_64 rng(20261123);
    const ZORBasUtlNumFormat sci17(ZORBasUtlNumFormat::Scientific, 17);
    const ZORBasUtlNumFormat eng17(ZORBasUtlNumFormat::Engineering, 17);
    const ZORBasUtlNumFormat auto17(ZORBasUtlNumFormat::Automatic, 17);
    const ZORBasUtlNumFormat sci6(ZORBasUtlNumFormat::Scientific, 6);
    const ZORBasUtlNumFormat eng9(ZORBasUtlNumFormat::Engineering, 9);
    int tested = 0;
    while (tested < 1000000) {
        uint64_t bits = rng();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value)) continue;
        ++tested;
        switch (tested % 5) {
            case 0:
                ExpectReadBack(sci17, value, 17);
                break;
            case 1:
                ExpectReadBack(eng17, value, 17);
                break;
            case 2:
                ExpectReadBack(auto17, value, 17);
                break;
            case 3:
                if (std::fabs(value) >= 1e-300) ExpectReadBack(sci6, value, 6);
                break;
            default:
                if (std::fabs(value) >= 1e-300) ExpectReadBack(eng9, value, 9);
                break;
        }
        if (testing::Test::HasFatalFailure()) return;
    }
}

TEST(NumFormatDeathTest, DigitsAndWidthOutsideTheirRangesAreContractViolations) {
    EXPECT_DEATH(ZORBasUtlNumFormat(ZORBasUtlNumFormat::Scientific, 0), "Assertion failed: digits");
    EXPECT_DEATH(ZORBasUtlNumFormat(ZORBasUtlNumFormat::Automatic, 18), "Assertion failed: digits");
    EXPECT_DEATH(ZORBasUtlNumFormat(ZORBasUtlNumFormat::Fixed, -1), "Assertion failed: digits");
    EXPECT_DEATH(ZORBasUtlNumFormat(ZORBasUtlNumFormat::Fixed, 2, 65), "Assertion failed: width");
    EXPECT_DEATH(ZORBasUtlNumFormat(static_cast<ZORBasUtlNumFormat::Form>(7)),
                 "Assertion failed: form");
    EXPECT_EQ(ZORBasUtlNumFormat(ZORBasUtlNumFormat::Fixed, 0).Text(2.5), cow_String("2"));
}

}  // namespace
