// Numbers as display texts, written into caller-owned buffers.
#ifndef KELM_TEXT_NUMBER_TEXT_H_
#define KELM_TEXT_NUMBER_TEXT_H_

// `value` with `decimals` decimals (at most 9) and at most `max_digits`
// significant digits; digits beyond them become 0 (truncated, not rounded).
// With 9 decimals, or with `trim_zeros` non-zero, trailing zeros after the
// point go (the point too when nothing is left behind it); otherwise exactly
// `decimals` decimals are written. Values of 10^30 and more give "МНОГО";
// values that round to nothing give "0". `out` needs 42 bytes. Returns `out`.
char* dbltoa(const double& value, char* out, unsigned char decimals, int max_digits, unsigned char trim_zeros);

// Groups the integer digits of an amount text in threes with a blank:
// "1234567.89" becomes "1 234 567.89". The caller leaves room for the
// separators; `size` is not consulted. Always returns 1.
int ConvertMoneyStr(char* text, int size);

// The next number of a numbering text, at least four digits: "5" gives
// "6000", "123" gives "1240", "99" gives "9900". Characters below '0' count
// as 0, those above '9' as 9. `dst` (which may be `src`) receives at most
// `size` characters of `src` first and needs at least 11 bytes. Returns `dst`.
char* IncNumberStr(const char* src, char* dst, int size);

#endif  // KELM_TEXT_NUMBER_TEXT_H_
