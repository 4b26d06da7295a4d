#include "kelm/text/mask.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "kelm/containers/collection.h"
#include "kelm/frame/errors.h"
#include "kelm/text/char_classes.h"

namespace {

constexpr int kSetBytes = 32;

const unsigned char kEmpty[1] = {0};

// The class letters in Windows-1251, capital and small.
int ClassCode(unsigned char c) {
  switch (c) {
    case 0xCB: case 0xEB: return Mask::kAnyChar;        // Л л
    case 0xD6: case 0xF6: return Mask::kDigit;          // Ц ц
    case 0xC1: case 0xE1: return Mask::kLetter;         // Б б
    case 0xC8: case 0xE8: return Mask::kLetterOrDigit;  // И и
    case 0xCF: case 0xEF: return Mask::kBlank;          // П п
    default: return -1;
  }
}

[[noreturn]] void MaskTooBig() { Error("Превышен максимальный размер маски!"); }

// "*" any run, "?" any one character; case-free. Backtracks only to the
// last "*", so the time stays bounded by the product of the lengths.
bool WildcardMatch(const unsigned char* name, const unsigned char* mask) {
  const unsigned char* star = nullptr;
  const unsigned char* resume = nullptr;
  while (*name != 0) {
    if (*mask == '*') {
      star = mask++;
      resume = name;
    } else if (*mask != 0 && (*mask == '?' || ToUpper1251(*mask) == ToUpper1251(*name))) {
      ++mask;
      ++name;
    } else if (star != nullptr) {
      mask = star + 1;
      name = ++resume;
    } else {
      return false;
    }
  }
  while (*mask == '*') ++mask;
  return *mask == 0;
}

}  // namespace

Mask::Mask(const unsigned char* mask, const unsigned char* text) : Mask(mask, text, 0) {}

Mask::Mask(const unsigned char* mask, const unsigned char* text, int length)
    : mask_pos_(mask != nullptr ? mask : kEmpty),
      start_(text != nullptr ? text : kEmpty),
      current_(start_),
      pending_(),
      pending_count_(0),
      // A block given without bytes is parsed as an empty ordinary text.
      length_(text != nullptr && length > 0 ? length : 0) {}

Mask::Mask(const Mask& other)
    : mask_pos_(other.mask_pos_),
      start_(other.start_),
      current_(other.current_),
      pending_count_(other.pending_count_),
      length_(other.length_) {
  std::memcpy(pending_, other.pending_, sizeof pending_);
  CopySets(other);
}

Mask& Mask::operator=(const Mask& other) {
  if (this == &other) return *this;
  mask_pos_ = other.mask_pos_;
  start_ = other.start_;
  current_ = other.current_;
  std::memcpy(pending_, other.pending_, sizeof pending_);
  pending_count_ = other.pending_count_;
  length_ = other.length_;
  CopySets(other);
  return *this;
}

Mask::~Mask() = default;

void Mask::CopySets(const Mask& other) {
  if (other.sets_ == nullptr) {
    sets_.reset();
    return;
  }
  auto copy = std::make_unique<Collection>(csOWNER, 5);
  for (int i = 0; i < other.sets_->Count(); ++i) {
    void* bitmap = std::malloc(kSetBytes);
    if (bitmap == nullptr) throw std::bad_alloc();
    std::memcpy(bitmap, other.sets_->Item(i), kSetBytes);
    copy->Ins(bitmap);
  }
  sets_ = std::move(copy);
}

unsigned char Mask::CurrentChar() const {
  if (IsHexMode() && current_ - start_ >= length_) return 0;
  return *current_;
}

bool Mask::IsEndOfParse() const {
  if (IsHexMode()) return current_ - start_ > length_;
  return *current_ == 0;
}

bool Mask::InSet(int set, unsigned char c) const {
  if (sets_ == nullptr || set < 0 || set >= sets_->Count()) return false;
  const auto* bitmap = static_cast<const unsigned char*>(sets_->Item(set));
  return (bitmap[c / 8] & (1u << (c % 8))) != 0;
}

bool Mask::IsThatMask(const MaskItem& item) const {
  const unsigned char c = CurrentChar();
  if (item.code >= kFirstSet) return InSet(item.code - kFirstSet, c);
  if (item.code >= 0 && item.code < 256) return c == item.code;
  switch (item.code) {
    case kEnd: return IsHexMode() ? IsEndOfParse() : c == 0;
    case kAnyChar: return IsHexMode() || c != 0;
    case kDigit: return (CharClassOf(c) & ccDigit) != 0;
    case kLetter: return (CharClassOf(c) & (ccLatin | ccCyrillic)) != 0;
    case kLetterOrDigit: return (CharClassOf(c) & (ccDigit | ccLatin | ccCyrillic)) != 0;
    case kBlank: return (CharClassOf(c) & ccSpace) != 0;
    default: return false;
  }
}

void Mask::NextChar(char*& capture) {
  if (capture != nullptr) {
    if (capture_end_ != nullptr && capture >= capture_end_) MaskTooBig();
    *capture++ = static_cast<char>(CurrentChar());
  }
  // Never past the terminator of an ordinary text.
  if (IsHexMode() || *current_ != 0) ++current_;
}

void Mask::PushPending(const MaskItem& item) { InsertPending(pending_count_, item); }

void Mask::InsertPending(int at, const MaskItem& item) {
  if (pending_count_ >= kMaxPending) MaskTooBig();
  std::memmove(pending_ + at + 1, pending_ + at, sizeof(MaskItem) * (pending_count_ - at));
  pending_[at] = item;
  ++pending_count_;
}

MaskItem Mask::PendingAt(int k) {
  if (k < pending_count_) return pending_[k];
  // A quoted run appends its further characters itself: the item it returns
  // goes in front of them.
  const int at = pending_count_;
  const MaskItem item = NextMask(false);
  InsertPending(at, item);
  return item;
}

MaskItem Mask::NextMask(bool fromStore) {
  if (fromStore && pending_count_ > 0) {
    const MaskItem oldest = pending_[0];
    --pending_count_;
    std::memmove(pending_, pending_ + 1, sizeof(MaskItem) * pending_count_);
    return oldest;
  }
  MaskItem item{0, 1, 1};
  unsigned char c;
  for (;;) {
    c = *mask_pos_++;
    // An empty quoted run stands for nothing.
    if ((c == '"' || c == '\'') && *mask_pos_ == c) {
      ++mask_pos_;
      continue;
    }
    break;
  }
  switch (c) {
    case 0:
      --mask_pos_;
      item.code = kEnd;
      return item;
    case '(':
      item.code = kCaptureBegin;
      return item;
    case ')':
      item.code = kCaptureEnd;
      return item;
    case '"':
    case '\'': {
      const auto* close = reinterpret_cast<const unsigned char*>(
          std::strchr(reinterpret_cast<const char*>(mask_pos_), c));
      if (close == nullptr) {
        Error("Не хватает закрывающей кавычки в маске для функции \"РазбитьПоМаске()\"!");
      }
      item.code = *mask_pos_++;
      while (mask_pos_ < close) PushPending(MaskItem{*mask_pos_++, 1, 1});
      ++mask_pos_;
      return item;
    }
    case '[':
      ReadSet(item);
      break;
    default: {
      const int classCode = ClassCode(c);
      item.code = classCode >= 0 ? classCode : c;
      break;
    }
  }
  ReadRepetition(item);
  return item;
}

void Mask::ReadSet(MaskItem& item) {
  if (sets_ == nullptr) sets_ = std::make_unique<Collection>(csOWNER, 5);
  auto* bitmap = static_cast<unsigned char*>(std::calloc(kSetBytes, 1));
  if (bitmap == nullptr) throw std::bad_alloc();
  item.code = kFirstSet + sets_->Count();
  sets_->Ins(bitmap);
  auto add = [bitmap](int low, int high) {
    for (int c = low; c <= high; ++c) bitmap[c / 8] |= static_cast<unsigned char>(1u << (c % 8));
  };
  for (;;) {
    const unsigned char c = *mask_pos_;
    if (c == 0) {
      Error(
          "Не хватает закрывающей квадратной скобки в маске для функции \"РазбитьПоМаске()\"!");
    }
    ++mask_pos_;
    if (c == ']') return;
    if (*mask_pos_ == '-') {
      const unsigned char high = mask_pos_[1];
      if (high == ']' || high == 0) {
        add(c, 0xFF);
        mask_pos_ += high == 0 ? 1 : 2;
      } else {
        add(c, high);
        mask_pos_ += 2;
      }
    } else {
      add(c, c);
    }
  }
}

short Mask::ReadCount(char stop1, char stop2) {
  char digits[256];
  int n = 0;
  while (*mask_pos_ != 0 && *mask_pos_ != stop1 && *mask_pos_ != stop2) {
    if (n < 255) digits[n++] = static_cast<char>(*mask_pos_);
    ++mask_pos_;
  }
  digits[n] = '\0';
  if (*mask_pos_ == 0) {
    Error("Не хватает закрывающей фигурной скобки в маске для функции \"РазбитьПоМаске()\"!");
  }
  return static_cast<short>(std::atoi(digits));
}

void Mask::ReadRepetition(MaskItem& item) {
  switch (*mask_pos_) {
    case '*':
      ++mask_pos_;
      item.minCount = 0;
      item.maxCount = -1;
      break;
    case '+':
      ++mask_pos_;
      item.minCount = 1;
      item.maxCount = -1;
      break;
    case '?':
      ++mask_pos_;
      item.minCount = 0;
      item.maxCount = 1;
      break;
    case '{':
      ++mask_pos_;
      item.minCount = ReadCount(',', '}');
      if (*mask_pos_ == ',') {
        ++mask_pos_;
        item.maxCount = ReadCount('}', '}');
      } else {
        item.maxCount = item.minCount;
      }
      ++mask_pos_;  // the closing brace
      break;
    default:
      break;
  }
}

// Consumes between the item's minimum and maximum characters. Once the
// minimum is reached, the items that follow are looked at before each
// further character: "(", ")" and "Л" items are passed over, the end item
// stops the look. While the run does not match here (or is "Л"), the first
// following item that matches ends the run, and one that must match (minimum
// above 0) ends the look. While the run matches, the first following item
// that must match decides: it ends the run when it matches here.
bool Mask::NextPart(const MaskItem& item, char*& capture) {
  if (item.maxCount == 0) return true;
  int count = 0;
  for (;;) {
    if (IsEndOfParse()) return count >= item.minCount;
    const bool matched = IsThatMask(item);
    if (count >= item.minCount) {
      for (int k = 0;; ++k) {
        const MaskItem next = PendingAt(k);
        if (next.code == kEnd) break;
        if (next.code == kCaptureBegin || next.code == kCaptureEnd || next.code == kAnyChar) continue;
        if (!matched || item.code == kAnyChar) {
          if (IsThatMask(next)) return true;
          if (next.minCount != 0) break;
        } else {
          if (next.minCount == 0) continue;
          if (IsThatMask(next)) return true;
          break;
        }
      }
    }
    if (!matched) return false;
    NextChar(capture);
    ++count;
    // An unbounded run (-1) stops at 65535 characters too.
    if (static_cast<unsigned short>(count) == static_cast<unsigned short>(item.maxCount)) return true;
  }
}

namespace {

// Points the mask's capture limit at a buffer for the scope of a parse.
class CaptureScope {
 public:
  CaptureScope(char*& end, char* limit) : end_(end) { end_ = limit; }
  ~CaptureScope() { end_ = nullptr; }

 private:
  char*& end_;
};

}  // namespace

bool Mask::ParseByMask(char* out, int* outLength) {
  // Cleared first: the failure result looks at it even when nothing was
  // captured.
  char buffer[kMaxCapture + 1] = {};
  CaptureScope scope(capture_end_, buffer + kMaxCapture);
  char* capture = nullptr;
  const bool lengthMode = IsHexMode();
  if (!lengthMode && out != nullptr) out[0] = '\0';
  if (lengthMode && outLength != nullptr) *outLength = 0;
  auto lengthResult = [outLength] { return outLength != nullptr && *outLength > 0; };
  for (;;) {
    const MaskItem item = NextMask(true);
    switch (item.code) {
      case kEnd:
        return lengthMode ? lengthResult() : true;
      case kCaptureBegin:
        capture = buffer;
        break;
      case kCaptureEnd:
        if (!lengthMode) {
          if (capture != nullptr) *capture = '\0';
          if (out != nullptr) std::strcpy(out, buffer);
          capture = nullptr;
        } else if (outLength != nullptr) {
          *outLength = capture != nullptr ? static_cast<int>(capture - buffer) : 0;
          if (out != nullptr) std::memcpy(out, buffer, *outLength);
        }
        break;
      default:
        if (!NextPart(item, capture)) return lengthMode ? lengthResult() : buffer[0] != '\0';
        break;
    }
  }
}

bool CheckMasksOr(const char* name, const Collection& masks) {
  if (masks.Count() == 0) return true;
  const auto* first = static_cast<const char*>(masks.Item(0));
  if (first != nullptr && std::strcmp(first, "*") == 0) return true;
  const auto* text = reinterpret_cast<const unsigned char*>(name != nullptr ? name : "");
  for (int i = masks.Count() - 1; i >= 0; --i) {
    const auto* mask = static_cast<const unsigned char*>(masks.Item(i));
    if (mask != nullptr && WildcardMatch(text, mask)) return true;
  }
  return false;
}
