// The text of a double as the suite's output files show it: automatic, scientific, engineering
// (exponent a multiple of 3) or fixed form, a number of significant digits (decimals for the fixed
// form), and a minimum width filled with blanks on the left. Exponents are "E", a sign and at
// least two digits ("1.50000E+05", "1.0E-300"); NaN prints "NaN" and the infinities "Infinity" and
// "-Infinity", whatever the form. Reading the text back with strtod gives the value to within
// half a unit of the last digit shown; 17 significant digits give it back exactly.
//
// Forms (d = digits):
//   Scientific   d significant digits, one before the point: printf's "%.{d-1}E".
//   Engineering  d significant digits, 1 to 3 before the point, exponent a multiple of 3:
//                "12.3457E+03"; when d is smaller than the digits before the point, zeros fill
//                them ("10E+03" for 12345 with d = 1).
//   Fixed        d digits after the point: printf's "%.{d}f".
//   Automatic    fixed when the exponent lies in [-4, d), scientific otherwise, trailing zeros
//                removed: printf's "%.{d}G".
// Format writes into a caller's buffer and allocates nothing; it costs one shortest-digit
// conversion of the standard library plus a pass over the text.
#pragma once

#include "companions/framework/zorbas_export.h"
#include "zorbas/cow/cow_String.h"

class ZORBAS_API ZORBasUtlNumFormat {
  public:
    enum Form : int { Automatic, Scientific, Engineering, Fixed };
    static constexpr int kMaxDigits = 17;
    static constexpr int kMaxWidth = 64;
    // Enough for any text: a fixed 1e308 with 17 decimals, or the widest padding.
    static constexpr int kBufferSize = 352;

    // digits: 1 to 17 significant digits (0 to 17 decimals for Fixed); width: 0 to 64. Values
    // outside end the program with the assertion of the test.
    explicit ZORBasUtlNumFormat(Form form = Automatic, int digits = 6, int width = 0);

    // Writes the text and a terminator into `out` (kBufferSize bytes); returns the text's length.
    int Format(double value, char* out) const;
    cow_String Text(double value) const;

    Form GetForm() const { return m_form; }
    int Digits() const { return m_digits; }
    int Width() const { return m_width; }

  private:
    Form m_form;
    int m_digits;
    int m_width;
};
