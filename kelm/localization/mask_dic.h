// MaskDic: translations of phrase shapes. A mask is a phrase with numbered
// placeholders; it matches any phrase of the same shape and rebuilds it in the
// target language with the captured pieces put back in:
//
//   Localization::MaskDic masks;
//   masks.AddTranslation("Файл {1} не найден!", "File {1} not found!");
//   masks.Translate(std::string("Файл C:\\x.lng не найден!"));  // "File C:\\x.lng not found!"
//
// Texts are cut into words: a word runs up to and including the first of the
// delimiters " !,.:;()<>", the last word up to the end of the text. A word
// that begins with "{" and whose last character before its delimiter is "}"
// is a placeholder; its number is the decimal value of the leading digits
// between the braces (0 when there are none). In other words "\{" and "\}"
// stand for literal braces.
//
// In a translation, "{k}" puts in the text captured by the k-th placeholder
// of the source, counted in the order the placeholders stand in the source:
// the numbers in the source's braces only mark placeholders. A capture holds
// the phrase's words up to the placeholder's own delimiter, which the
// translation supplies; of several ways to match, the first in the order
// "literal word, then a new placeholder, then a longer capture" wins.
//
// Matching takes time polynomial in the phrase's length (each placeholder
// node is tried at most once per word position), and no operation recurses
// along a mask, so long texts cannot exhaust the stack.
//
// Not safe for concurrent use: Translate keeps its work state in the object.
#ifndef KELM_LOCALIZATION_MASK_DIC_H_
#define KELM_LOCALIZATION_MASK_DIC_H_

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class Collection;

namespace Localization {

class MaskDic {
 public:
  // One piece of a translation: the capture of placeholder `number` (none
  // for 0), then `text`.
  struct MaskWord {
    std::string text;
    std::int32_t number = 0;
  };
  using Translation = std::vector<MaskWord>;

  // One word of a mask. A literal node's word includes the delimiter that
  // ended it, with "\{" and "\}" reduced to braces; a placeholder's word is
  // only its delimiter. Copies are deep and refer to the same translations,
  // which belong to the MaskDic.
  class DicNode {
   public:
    DicNode() = default;
    DicNode(std::string word, std::int32_t number, bool placeholder)
        : word(std::move(word)), number(number), placeholder_node_(placeholder) {}
    DicNode(const DicNode& other);
    DicNode& operator=(const DicNode& other);
    DicNode(DicNode&& other) noexcept = default;
    DicNode& operator=(DicNode&& other) noexcept;
    ~DicNode();

    // By word, then by number.
    bool operator<(const DicNode& other) const;

    const std::string& Word() const { return word; }
    std::int32_t Number() const { return number; }
    bool IsPlaceholder() const { return placeholder_node_; }
    const Translation* GetTranslation() const { return translation_; }
    const std::vector<DicNode>& Children() const { return children_; }
    const DicNode* PlaceholderChild() const { return placeholder_.get(); }

    // Appends to `out` (as malloc'ed texts, through its virtual Ins) one line
    // "source#translation#MASK" for every mask that ends at this node or
    // below it; `prefix` is the source text of the words before this node.
    // Placeholders are written as "{n}"; in literal text the characters that
    // the dictionary format escapes are escaped, so every line reads back as
    // the mask it came from.
    void GetFullStringByNode(const std::string& prefix, Collection& out) const;

   private:
    friend class MaskDic;

    // The literal child whose word is `w`, or null.
    const DicNode* FindChild(std::string_view w) const;
    DicNode& InsertChild(std::string w);
    // Moves every descendant out before it is destroyed, so that deep trees
    // do not recurse.
    void ReleaseChildren() noexcept;

    std::string word;
    std::int32_t number = 0;
    bool placeholder_node_ = false;
    std::vector<DicNode> children_;         // literal children, sorted
    std::unique_ptr<DicNode> placeholder_;  // the one placeholder child
    Translation* translation_ = nullptr;    // of the mask that ends here
    // Matching state of one Translate call: from which word position on this
    // placeholder is known not to match, valid while pass_ is the call's.
    mutable std::uint64_t pass_ = 0;
    mutable std::uint32_t failed_from_ = 0;
  };

  MaskDic() = default;
  MaskDic(const MaskDic&) = delete;
  MaskDic& operator=(const MaskDic&) = delete;

  // False if either text is null or empty; otherwise adds the mask (a later
  // translation of the same source replaces the earlier one) and returns true.
  bool AddTranslation(const char* source, const char* translation);

  // The translated phrase, copied into `out` (at most size - 1 bytes and a
  // terminating zero), and `out`; null when no mask matches the phrase or the
  // phrase is null or empty. A null `out` receives nothing and gives null.
  const char* Translate(const char* phrase, char* out, unsigned size);
  // The translated phrase, or the phrase unchanged when no mask matches.
  std::string Translate(const std::string& phrase);
  // True when a mask matches `phrase`; `out` is then its translation.
  bool TranslateTo(std::string_view phrase, std::string& out);

  // The numbers of the placeholders of a mask text, in the order they stand.
  static std::vector<std::int32_t> PlaceholderNumbers(std::string_view text);

  // Appends one line per mask, as DicNode::GetFullStringByNode writes them:
  // the literal roots in order, then the placeholder root. Returns true.
  bool StoreStringsByMasks(Collection& out) const;
  // Forgets every mask. Returns true.
  bool Clear();

  // The tree: the first words of the masks that begin with a literal word,
  // in order, and the node of those that begin with a placeholder (or null).
  const std::vector<DicNode>& Roots() const { return roots_; }
  const DicNode* PlaceholderRoot() const { return placeholder_.get(); }

 private:
  // A word of the phrase being matched: its offset and length.
  struct Span {
    std::uint32_t offset;
    std::uint32_t length;
  };
  // One step of the matching search.
  struct Frame {
    const DicNode* node;
    std::uint32_t pos;    // the next word to match
    std::uint32_t start;  // a placeholder's first captured word
    std::uint8_t stage;   // 0: literal child next, 1: placeholder child, 2: longer capture
  };

  // The next word of `text` from `from` on, with its delimiter; `from` moves
  // past it. False when nothing is left.
  static bool GetStrBefDelim(std::string_view text, size_t& from, std::string_view& word);
  // Follows (and creates) the nodes of the source's words after the first.
  DicNode* AddMask(DicNode* node, std::string_view source, size_t from);
  // Cuts a translation into pieces.
  static Translation AddTranslateMask(std::string_view translation);
  // Searches from `node`, which has matched the words before `pos`; on
  // success the captures are in captures_ and the translation in found_.
  bool FindTranslateMask(const DicNode* node, std::uint32_t pos, bool placeholder);
  bool Match(std::string_view phrase);
  void ConstructTranslateString(std::string& out) const;

  std::vector<DicNode> roots_;            // literal roots, sorted
  std::unique_ptr<DicNode> placeholder_;  // shared by the masks that begin with one
  std::deque<Translation> translations_;  // one per mask; nodes point here

  // Work state of one Translate call.
  std::string_view phrase_;
  std::vector<Span> words_;
  std::vector<Frame> stack_;
  std::vector<std::string_view> captures_;
  const Translation* found_ = nullptr;
  std::uint64_t pass_ = 0;
  std::string result_;
};

}  // namespace Localization

#endif  // KELM_LOCALIZATION_MASK_DIC_H_
