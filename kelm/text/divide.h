// Cutting a text into pieces appended, one text each, to a Collection.
#ifndef KELM_TEXT_DIVIDE_H_
#define KELM_TEXT_DIVIDE_H_

class Collection;

// Splits `text` at every character of `delimiters`, appending the pieces
// with `out << piece` (so the collection copies them):
// - a text that starts with the first delimiter followed by another
//   delimiter gets an empty first piece; otherwise an empty piece at the very
//   start is left out;
// - without `keepDelimiters` a piece carries no leading delimiter (two
//   adjacent delimiters give an empty piece); with it every piece after the
//   first begins with the delimiter before it;
// - the characters 0x01, 0x02, 0x03 and '&' are removed from the pieces, and
//   with `upperCase` they are upper-cased (Windows-1251).
// Null texts count as empty.
void DivideS(const char* text, const char* delimiters, bool keepDelimiters, Collection& out,
             bool upperCase);

// Splits a dotted name ("Doc.Head.Date") at its dots; "\." is a dot inside a
// piece. Empty pieces between dots are kept, a trailing empty one is not.
// A piece keeps at most 255 characters; the rest are dropped.
void DividePath(const char* path, Collection& out);

#endif  // KELM_TEXT_DIVIDE_H_
