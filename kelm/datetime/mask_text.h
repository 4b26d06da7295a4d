// Mask-driven writing and reading of the numbers of a date or time.
//
// A mask names each value by a letter ("дмг" for day, month, year); a run of
// one letter ("дд", "ГГГГ") stands for the value, other characters are
// literal. Letters are compared case-free in code page 1251.
#ifndef KELM_DATETIME_MASK_TEXT_H_
#define KELM_DATETIME_MASK_TEXT_H_

// Writes `mask` into `out` with the first run of each letter replaced by the
// value of that letter, zero-padded and cut to its last digits to the run's
// width (at most 20). `letters` (at most 9 used) name `values` in order; a
// letter's later runs are copied as they are. `out` must hold the mask.
void StringFromMask(char* out, const char* mask, int* values, const char* letters);

#endif  // KELM_DATETIME_MASK_TEXT_H_
