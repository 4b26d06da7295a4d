#include "kelm/streams/text_stream.h"

#include <cstdint>
#include <vector>

Stream& operator<<(Stream& s, const String& v) { return s << static_cast<const char*>(v); }

Stream& operator>>(Stream& s, String& v) {
  unsigned char n = 0;
  s.Read(&n, 1);
  v.ReadStream(s, n);
  return s;
}

String::String(Stream& s) : String() { s >> *this; }

void String::ReadStream(Stream& s, int n) {
  if (n <= 0) {
    *this = "";
    return;
  }
  Fill(' ', n);  // a block of max(n + 1, 12) bytes, terminated at n
  s.Read(static_cast<char*>(*this), static_cast<unsigned>(n));
}

WString::WString(Stream& s) : WString() { s >> *this; }

Stream& operator<<(Stream& s, const WString& v) {
  const auto n = static_cast<std::uint16_t>(v.Len());
  s.Write(&n, 2);
  if (n != 0) s.Write(static_cast<const unsigned short*>(v), 2u * n);
  return s;
}

Stream& operator>>(Stream& s, WString& v) {
  std::uint16_t n = 0;
  s.Read(&n, 2);
  std::vector<unsigned short> units(n + 1u, 0);
  s.Read(units.data(), 2u * n);
  v = units.data();
  return s;
}

Stream& operator<<(Stream& s, const Buffer& v) {
  const unsigned char n = v.Len();
  s.Write(&n, 1);
  if (n != 0) s.Write(v.Data(), n);
  return s;
}

Stream& operator>>(Stream& s, Buffer& v) {
  unsigned char n = 0;
  s.Read(&n, 1);
  unsigned char data[255];
  s.Read(data, n);
  v(data, n);
  return s;
}
