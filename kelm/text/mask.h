// Masks: a small pattern language over Windows-1251 text, offered to users
// as the function "РазбитьПоМаске()".
//
//   Л  any character      Ц  a digit       Б  a letter (Latin or Cyrillic)
//   И  a letter or digit  П  a blank or control character
//   (the small letters too), '...' or "..." a literal run, [a-z...] a set,
//   ( ) the capture, any other character itself.
//   After a class, literal or set: * + ? {n} {n,m} (and "{n,}" = at most 0).
//
// The matcher never goes back: a run stops early only when the items after it
// can take the current character (the look-ahead of NextPart).
#ifndef KELM_TEXT_MASK_H_
#define KELM_TEXT_MASK_H_

#include <memory>

class Collection;

struct MaskItem {
  int code;        // 0..255 literal, or one of the Mask::k... codes
  short minCount;
  short maxCount;  // -1: unbounded
};

class Mask {
 public:
  static constexpr int kEnd = 257;
  static constexpr int kCaptureBegin = 258;
  static constexpr int kCaptureEnd = 259;
  static constexpr int kAnyChar = 261;
  static constexpr int kDigit = 262;
  static constexpr int kLetter = 263;
  static constexpr int kLetterOrDigit = 264;
  static constexpr int kBlank = 265;
  static constexpr int kFirstSet = 500;  // 500 + n: the n-th set of the mask
  // Items the pending store holds. A mask whose quoted runs or look-ahead
  // need more is refused with "Превышен максимальный размер маски!".
  static constexpr int kMaxPending = 100;
  // The longest capture ParseByMask keeps; a longer one is refused with the
  // same mask-size error.
  static constexpr int kMaxCapture = 4096;

  // Ordinary mode: `text` ends at its NUL. Null texts count as empty.
  Mask(const unsigned char* mask, const unsigned char* text);
  // Length mode: `text` is a block of `length` bytes that may hold NULs.
  Mask(const unsigned char* mask, const unsigned char* text, int length);
  // A copy owns copies of the character sets.
  Mask(const Mask& other);
  Mask& operator=(const Mask& other);
  ~Mask();

  // Ordinary mode: at the NUL. Length mode: more than `length` bytes consumed.
  virtual bool IsEndOfParse() const;
  // Whether the current character matches the item.
  virtual bool IsThatMask(const MaskItem& item) const;

  // The oldest pending item when `fromStore` and there is one, else the next
  // item read from the mask. Raises the missing quote, bracket and brace
  // errors and the mask-size error through Error.
  MaskItem NextMask(bool fromStore);
  // Consumes the run of text that the item covers (see mask.cpp).
  bool NextPart(const MaskItem& item, char*& capture);
  // Runs the whole mask over the text. Ordinary mode: `out` (may be null)
  // receives the text of the last completed group, "" when none completed.
  // Length mode: `out` and `*outLength` receive the bytes captured up to the
  // last ")"; `*outLength` starts at 0. `out` must hold kMaxCapture + 1 bytes
  // or the longest capture the mask can make.
  bool ParseByMask(char* out, int* outLength);
  // Copies the current character to *capture (advancing it) when capture is
  // non-null, then steps the text on by one.
  void NextChar(char*& capture);

  bool IsHexMode() const { return length_ > 0; }
  int ParsePos() const { return static_cast<int>(current_ - start_); }
  bool IsMayMaskBgn(unsigned char c) const { return c == '(' || c == '['; }

 private:
  // The current text byte; in length mode 0 past the block (never read).
  unsigned char CurrentChar() const;
  void PushPending(const MaskItem& item);
  void InsertPending(int at, const MaskItem& item);
  // Pending item `k` for the look-ahead, reading further items as needed.
  MaskItem PendingAt(int k);
  void ReadSet(MaskItem& item);
  void ReadRepetition(MaskItem& item);
  short ReadCount(char stop1, char stop2);
  bool InSet(int set, unsigned char c) const;
  void CopySets(const Mask& other);

  const unsigned char* mask_pos_;
  const unsigned char* start_;
  const unsigned char* current_;
  MaskItem pending_[kMaxPending];
  int pending_count_;
  int length_;
  std::unique_ptr<Collection> sets_;
  // The capture buffer of a running ParseByMask; null otherwise.
  char* capture_end_ = nullptr;
};

// True when `name` matches one of the "*"/"?" wildcard masks, compared
// without regard to letter case. An empty list, or one whose first mask is
// "*", accepts every name.
bool CheckMasksOr(const char* name, const Collection& masks);

#endif  // KELM_TEXT_MASK_H_
