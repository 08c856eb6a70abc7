// Text basics every layer shares: case folding, lower-casing, trimming, UTF-8 repair.
#pragma once
#include <string>
#include <string_view>

namespace quillo {

// Case folding shared by stored haystacks and typed queries, so both sides
// fold alike. ASCII takes a fast path; other text is folded by Unicode rules.
std::string foldCase(std::string_view text);
// ASCII letters lowered, every other byte kept: for schemes, hosts, MIME
// types and other protocol words, where Unicode rules must not apply.
std::string asciiLower(std::string_view text);
constexpr char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }
// Whether needle, already folded, occurs in the folded form of text.
bool foldedContains(std::string_view text, std::string_view needle);

// Without leading and trailing spaces and tabs (what the field's
// "is anything typed" test ignores).
std::string_view trimSpaces(std::string_view text);
// Without leading and trailing white space and line breaks, Unicode spaces
// included (names and addresses typed into rows).
std::string trimWhitespace(std::string_view text);

bool isAscii(std::string_view text);
// NUL bytes count as valid: JSON carries them ("\u0000") and they must come
// back as they went.
bool isValidUtf8(std::string_view text);
// Text as valid UTF-8: broken sequences become U+FFFD; NULs stay.
std::string validUtf8(std::string_view text);

}  // namespace quillo
