#include "kelm/localization/mask_dic.h"

#include <algorithm>
#include <array>
#include <limits>

#include "kelm/containers/collection.h"
#include "kelm/localization/dic_file.h"

namespace Localization {
namespace {

constexpr std::array<bool, 256> MakeDelimiters() {
  std::array<bool, 256> table{};
  for (const char c : std::string_view(" !,.:;()<>")) table[static_cast<unsigned char>(c)] = true;
  return table;
}
constexpr std::array<bool, 256> kDelimiters = MakeDelimiters();

bool IsDelimiter(char c) { return kDelimiters[static_cast<unsigned char>(c)]; }

// A word split into its body and its trailing delimiter (empty for the last
// word of a text that does not end in a delimiter).
struct WordParts {
  std::string_view body;
  std::string_view delimiter;
};

WordParts Parts(std::string_view word) {
  if (!word.empty() && IsDelimiter(word.back())) return {word.substr(0, word.size() - 1), word.substr(word.size() - 1)};
  return {word, {}};
}

bool IsPlaceholder(const WordParts& w) {
  return w.body.size() >= 2 && w.body.front() == '{' && w.body.back() == '}';
}

// The leading decimal digits after the brace; a larger value than fits is
// taken as the largest number (it selects no capture).
std::int32_t PlaceholderNumber(const WordParts& w) {
  std::int64_t n = 0;
  for (size_t i = 1; i < w.body.size() && w.body[i] >= '0' && w.body[i] <= '9'; ++i) {
    n = std::min<std::int64_t>(n * 10 + (w.body[i] - '0'), std::numeric_limits<std::int32_t>::max());
  }
  return static_cast<std::int32_t>(n);
}

// A literal word with "\{" and "\}" reduced to braces.
std::string Literal(std::string_view word) {
  std::string out(word);
  Utils::UnescapeBraces(out);
  return out;
}

const MaskDic::DicNode* FindSorted(const std::vector<MaskDic::DicNode>& nodes, std::string_view w) {
  const auto it = std::lower_bound(nodes.begin(), nodes.end(), w, [](const MaskDic::DicNode& n, std::string_view key) {
    return std::string_view(n.Word()) < key;
  });
  return it != nodes.end() && it->Word() == w ? &*it : nullptr;
}

MaskDic::DicNode& InsertSorted(std::vector<MaskDic::DicNode>& nodes, std::string w) {
  const auto it = std::lower_bound(nodes.begin(), nodes.end(), w, [](const MaskDic::DicNode& n, const std::string& key) {
    return n.Word() < key;
  });
  if (it != nodes.end() && it->Word() == w) return *it;
  return *nodes.emplace(it, std::move(w), 0, false);
}

void AppendPlaceholder(std::string& out, std::int32_t number) {
  out += '{';
  out += std::to_string(number);
  out += '}';
}

// A mask's line: the source, "#", the translation and "#MASK".
std::string MaskLine(const std::string& source, const MaskDic::Translation& translation) {
  std::string line = source;
  line += '#';
  for (const MaskDic::MaskWord& piece : translation) {
    if (piece.number != 0) AppendPlaceholder(line, piece.number);
    Utils::EscapeDicText(piece.text, line);
  }
  line += "#MASK";
  return line;
}

}  // namespace

// ---- DicNode ---------------------------------------------------------------

MaskDic::DicNode::DicNode(const DicNode& other)
    : word(other.word),
      number(other.number),
      placeholder_node_(other.placeholder_node_),
      translation_(other.translation_) {
  // Level by level, without recursion: each copied node gets shallow copies
  // of its children, which are then filled in turn. A child vector is not
  // touched again once filled, so the pointers kept in `todo` stay valid.
  const auto shallow = [](const DicNode& n) {
    DicNode copy(n.word, n.number, n.placeholder_node_);
    copy.translation_ = n.translation_;
    return copy;
  };
  std::vector<std::pair<const DicNode*, DicNode*>> todo{{&other, this}};
  while (!todo.empty()) {
    const auto [src, dst] = todo.back();
    todo.pop_back();
    dst->children_.reserve(src->children_.size());
    for (const DicNode& child : src->children_) dst->children_.push_back(shallow(child));
    for (size_t i = 0; i < src->children_.size(); ++i) todo.emplace_back(&src->children_[i], &dst->children_[i]);
    if (src->placeholder_) {
      dst->placeholder_ = std::make_unique<DicNode>(shallow(*src->placeholder_));
      todo.emplace_back(src->placeholder_.get(), dst->placeholder_.get());
    }
  }
}

MaskDic::DicNode& MaskDic::DicNode::operator=(const DicNode& other) {
  if (this != &other) *this = DicNode(other);
  return *this;
}

MaskDic::DicNode& MaskDic::DicNode::operator=(DicNode&& other) noexcept {
  if (this == &other) return *this;
  DicNode taken(std::move(other));  // `other` may live below this node
  ReleaseChildren();
  word = std::move(taken.word);
  number = taken.number;
  placeholder_node_ = taken.placeholder_node_;
  children_ = std::move(taken.children_);
  placeholder_ = std::move(taken.placeholder_);
  translation_ = taken.translation_;
  return *this;
}

MaskDic::DicNode::~DicNode() { ReleaseChildren(); }

void MaskDic::DicNode::ReleaseChildren() noexcept {
  if (children_.empty() && !placeholder_) return;
  std::vector<DicNode> pending;
  const auto take = [&pending](DicNode& n) {
    for (DicNode& child : n.children_) pending.push_back(std::move(child));
    n.children_.clear();
    if (n.placeholder_) {
      pending.push_back(std::move(*n.placeholder_));
      n.placeholder_.reset();
    }
  };
  take(*this);
  while (!pending.empty()) {
    DicNode n = std::move(pending.back());
    pending.pop_back();
    take(n);
  }
}

bool MaskDic::DicNode::operator<(const DicNode& other) const {
  return word != other.word ? word < other.word : number < other.number;
}

const MaskDic::DicNode* MaskDic::DicNode::FindChild(std::string_view w) const { return FindSorted(children_, w); }

MaskDic::DicNode& MaskDic::DicNode::InsertChild(std::string w) { return InsertSorted(children_, std::move(w)); }

void MaskDic::DicNode::GetFullStringByNode(const std::string& prefix, Collection& out) const {
  struct Item {
    const DicNode* node;
    size_t prefix_length;
  };
  std::string source = prefix;
  std::vector<Item> todo{{this, prefix.size()}};
  while (!todo.empty()) {
    const Item item = todo.back();
    todo.pop_back();
    const DicNode& node = *item.node;
    source.resize(item.prefix_length);
    if (node.placeholder_node_) {
      AppendPlaceholder(source, node.number);
      // Masks that share a placeholder share its word, which the mask that
      // made it (or, at the root, the latest one) set; one that ended the
      // mask is empty. Words follow it here, and only a delimiter can stand
      // between: a blank is written.
      if (node.word.empty() && (node.placeholder_ || !node.children_.empty())) source += ' ';
    }
    Utils::EscapeDicText(node.word, source);
    if (node.translation_ != nullptr) out << MaskLine(source, *node.translation_).c_str();
    // Depth first: the literal children in order, then the placeholder.
    if (node.placeholder_) todo.push_back({node.placeholder_.get(), source.size()});
    for (auto it = node.children_.rbegin(); it != node.children_.rend(); ++it) todo.push_back({&*it, source.size()});
  }
}

// ---- Adding masks ------------------------------------------------------------

bool MaskDic::GetStrBefDelim(std::string_view text, size_t& from, std::string_view& word) {
  if (from >= text.size()) return false;
  size_t end = from;
  while (end < text.size() && !IsDelimiter(text[end])) ++end;
  if (end < text.size()) ++end;  // the delimiter belongs to the word
  word = text.substr(from, end - from);
  from = end;
  return true;
}

bool MaskDic::AddTranslation(const char* source, const char* translation) {
  if (source == nullptr || *source == '\0' || translation == nullptr || *translation == '\0') return false;
  const std::string_view text(source);
  size_t from = 0;
  std::string_view first;
  GetStrBefDelim(text, from, first);
  const WordParts parts = Parts(first);
  DicNode* node = nullptr;
  if (IsPlaceholder(parts)) {
    // One placeholder root serves every such mask; the latest sets its word.
    if (placeholder_) {
      placeholder_->word = std::string(parts.delimiter);
    } else {
      placeholder_ = std::make_unique<DicNode>(std::string(parts.delimiter), PlaceholderNumber(parts), true);
    }
    node = placeholder_.get();
  } else {
    node = &InsertSorted(roots_, Literal(first));
  }
  node = AddMask(node, text, from);
  Translation pieces = AddTranslateMask(translation);
  if (node->translation_ != nullptr) {
    *node->translation_ = std::move(pieces);
  } else {
    node->translation_ = &translations_.emplace_back(std::move(pieces));
  }
  return true;
}

MaskDic::DicNode* MaskDic::AddMask(DicNode* node, std::string_view source, size_t from) {
  std::string_view word;
  while (GetStrBefDelim(source, from, word)) {
    const WordParts parts = Parts(word);
    if (IsPlaceholder(parts)) {
      if (!node->placeholder_) {
        node->placeholder_ = std::make_unique<DicNode>(std::string(parts.delimiter), PlaceholderNumber(parts), true);
      }
      node = node->placeholder_.get();
    } else {
      node = &node->InsertChild(Literal(word));
    }
  }
  return node;
}

MaskDic::Translation MaskDic::AddTranslateMask(std::string_view translation) {
  Translation pieces;
  size_t from = 0;
  std::string_view word;
  while (GetStrBefDelim(translation, from, word)) {
    const WordParts parts = Parts(word);
    if (IsPlaceholder(parts)) {
      pieces.push_back({std::string(parts.delimiter), PlaceholderNumber(parts)});
    } else {
      pieces.push_back({Literal(word), 0});
    }
  }
  return pieces;
}

std::vector<std::int32_t> MaskDic::PlaceholderNumbers(std::string_view text) {
  std::vector<std::int32_t> numbers;
  size_t from = 0;
  std::string_view word;
  while (GetStrBefDelim(text, from, word)) {
    const WordParts parts = Parts(word);
    if (IsPlaceholder(parts)) numbers.push_back(PlaceholderNumber(parts));
  }
  return numbers;
}

// ---- Matching ----------------------------------------------------------------

bool MaskDic::Match(std::string_view phrase) {
  captures_.clear();
  found_ = nullptr;
  words_.clear();
  if (phrase.empty() || phrase.size() >= std::numeric_limits<std::uint32_t>::max()) return false;
  phrase_ = phrase;
  size_t from = 0;
  std::string_view word;
  while (GetStrBefDelim(phrase, from, word)) {
    words_.push_back({static_cast<std::uint32_t>(word.data() - phrase.data()), static_cast<std::uint32_t>(word.size())});
  }
  ++pass_;  // forgets what the previous call learnt about the nodes
  if (const DicNode* root = FindSorted(roots_, phrase.substr(0, words_[0].length))) {
    if (FindTranslateMask(root, 1, false)) return true;
  }
  return placeholder_ && FindTranslateMask(placeholder_.get(), 1, true);
}

// Depth first over (node, word position) with an explicit stack. At a node,
// the next word is tried as its literal child, then as the start of its
// placeholder child, then (at a placeholder) as one more word of the
// capture. Whether a node matches the rest of the phrase from a position
// depends on nothing else, so a placeholder that failed from a position on
// is never tried there again; every placeholder is thus tried at most once
// per position and the search stays polynomial.
bool MaskDic::FindTranslateMask(const DicNode* node, std::uint32_t pos, bool placeholder) {
  const auto n = static_cast<std::uint32_t>(words_.size());
  const auto known_to_fail = [this](const DicNode* p, std::uint32_t at) {
    return p->pass_ == pass_ && at >= p->failed_from_;
  };
  const auto word_at = [this](std::uint32_t i) { return phrase_.substr(words_[i].offset, words_[i].length); };
  stack_.clear();
  if (placeholder && known_to_fail(node, pos)) return false;
  stack_.push_back({node, pos, pos - 1, 0});
  while (!stack_.empty()) {
    Frame& f = stack_.back();
    const DicNode* at = f.node;
    if (f.stage == 0) {
      if (f.pos == n) {
        if (at->translation_ != nullptr) {
          found_ = at->translation_;
          for (const Frame& step : stack_) {
            if (!step.node->placeholder_node_) continue;
            const Span first = words_[step.start];
            const Span last = words_[step.pos - 1];
            std::string_view capture = phrase_.substr(first.offset, last.offset + last.length - first.offset);
            // The delimiter that the mask itself supplies is not captured. A
            // placeholder that the mask continues after always has one; one
            // that ends the mask has the delimiter its word records, if any.
            const bool ends_mask = &step == &stack_.back();
            if (IsDelimiter(capture.back()) && (!ends_mask || !step.node->word.empty())) capture.remove_suffix(1);
            captures_.push_back(capture);
          }
          return true;
        }
        f.stage = 3;
      } else {
        f.stage = 1;
        if (const DicNode* child = at->FindChild(word_at(f.pos))) {
          const std::uint32_t next = f.pos + 1;
          stack_.push_back({child, next, 0, 0});
          continue;
        }
      }
    }
    if (f.stage == 1) {
      f.stage = 2;
      const DicNode* child = at->placeholder_.get();
      if (child != nullptr && !known_to_fail(child, f.pos + 1)) {
        const std::uint32_t start = f.pos;
        stack_.push_back({child, start + 1, start, 0});
        continue;
      }
    }
    if (f.stage == 2 && at->placeholder_node_ && !known_to_fail(at, f.pos + 1)) {
      ++f.pos;  // one more word for the capture
      f.stage = 0;
      continue;
    }
    // Nothing matches below this frame.
    if (at->placeholder_node_) {
      const std::uint32_t entry = f.start + 1;
      if (at->pass_ != pass_ || entry < at->failed_from_) at->failed_from_ = entry;
      at->pass_ = pass_;
    }
    stack_.pop_back();
  }
  return false;
}

void MaskDic::ConstructTranslateString(std::string& out) const {
  out.clear();
  if (found_ == nullptr) return;
  for (const MaskWord& piece : *found_) {
    if (piece.number > 0 && static_cast<size_t>(piece.number) <= captures_.size()) out += captures_[piece.number - 1];
    out += piece.text;
  }
}

bool MaskDic::TranslateTo(std::string_view phrase, std::string& out) {
  if (!Match(phrase)) return false;
  ConstructTranslateString(out);
  return true;
}

const char* MaskDic::Translate(const char* phrase, char* out, unsigned size) {
  if (phrase == nullptr || out == nullptr || !TranslateTo(phrase, result_)) return nullptr;
  if (size == 0) return out;
  const size_t n = std::min<size_t>(result_.size(), size - 1);
  result_.copy(out, n);
  out[n] = '\0';
  return out;
}

std::string MaskDic::Translate(const std::string& phrase) {
  std::string out;
  return TranslateTo(phrase, out) ? out : phrase;
}

// ---- The whole dictionary ------------------------------------------------------

bool MaskDic::StoreStringsByMasks(Collection& out) const {
  for (const DicNode& root : roots_) root.GetFullStringByNode(std::string(), out);
  if (placeholder_) placeholder_->GetFullStringByNode(std::string(), out);
  return true;
}

bool MaskDic::Clear() {
  roots_.clear();
  placeholder_.reset();
  translations_.clear();
  captures_.clear();
  found_ = nullptr;
  words_.clear();
  stack_.clear();
  return true;
}

}  // namespace Localization
