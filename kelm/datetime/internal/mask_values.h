// The mask reader and the decimal writer behind the date and time texts.
// Internal: not installed.
#ifndef KELM_DATETIME_INTERNAL_MASK_VALUES_H_
#define KELM_DATETIME_INTERNAL_MASK_VALUES_H_

namespace kelm::datetime_internal {

// Reads the values named by `letters` from `text` along `mask`, leaving
// unread values as they are. With `fixed_width` a run takes at most its
// width of digits, and only where a digit stands; otherwise it skips
// non-digits and takes every following digit. Returns whether any value was
// set.
bool ValuesFromMask(const char* text, const char* mask, int* values, const char* letters,
                    bool fixed_width);

// Writes `value` in decimal and returns the end of the text (its terminator).
char* WriteDecimal(char* out, long long value);

}  // namespace kelm::datetime_internal

#endif  // KELM_DATETIME_INTERNAL_MASK_VALUES_H_
