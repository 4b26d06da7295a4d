// The stream encodings of the text classes String, WString and Buffer
// (kept here so that the text classes need not know streams):
// - String: a length byte n (the length cut at 255), then n bytes;
// - WString: a 16-bit count n of code units (the length modulo 65536), then
//   2n bytes;
// - Buffer: a length byte n, then n bytes.
#ifndef KELM_STREAMS_TEXT_STREAM_H_
#define KELM_STREAMS_TEXT_STREAM_H_

#include "kelm/streams/stream.h"
#include "kelm/text/string.h"

Stream& operator<<(Stream& s, const String& v);
Stream& operator>>(Stream& s, String& v);

Stream& operator<<(Stream& s, const WString& v);
Stream& operator>>(Stream& s, WString& v);

Stream& operator<<(Stream& s, const Buffer& v);
Stream& operator>>(Stream& s, Buffer& v);

#endif  // KELM_STREAMS_TEXT_STREAM_H_
