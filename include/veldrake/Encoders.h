// The exported narrow-text encoders: an HTML escaper and a Base64 encoder and decoder
// (RFC 4648 alphabet, "=" padding, lines of 76 characters broken by "\n"). Nothing in the
// library calls them. They keep no state but the constant alphabet set up at load, so
// they may run on any thread; they report no errors and never throw but for allocation.
#ifndef VELDRAKE_ENCODERS_H_
#define VELDRAKE_ENCODERS_H_

#include <string>

#include "veldrake/Export.h"

// Escapes "&", "<", ">" and every control byte below 0x20 (as "&#N;"); every other byte,
// quotes and bytes from 0x7F up included, is copied as it stands.
VELDRAKE_API std::string html_encode(const std::string& text);

// Base64 of `count` bytes. A "\n" follows every full line of 76 characters, so an input
// whose length is a multiple of 57 ends in one; `bytes` is not read when `count` is 0.
VELDRAKE_API std::string base64_encode(const unsigned char* bytes, unsigned int count);
// The same over the string's bytes, NUL bytes included.
VELDRAKE_API std::string base64_encode(const std::string& bytes);

// Decodes up to the first character that is not of the alphabet: "=", a line break, a
// blank or any other byte ends the text, and what follows is ignored. A trailing group of
// n < 4 characters gives n - 1 bytes.
VELDRAKE_API std::string base64_decode(const std::string& text);

#endif  // VELDRAKE_ENCODERS_H_
