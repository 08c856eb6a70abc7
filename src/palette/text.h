#pragma once
#include <string>
#include <string_view>

namespace quillo::palette {

// Without leading and trailing spaces and tabs (what the field's
// "is anything typed" test ignores).
std::string_view trimSpaces(std::string_view text);
// Without leading and trailing white space and line breaks, Unicode spaces
// included (names and addresses typed into rows).
std::string trimWhitespace(std::string_view text);
// Whether needle, already folded, occurs in the folded form of text.
bool foldedContains(std::string_view text, std::string_view needle);

}  // namespace quillo::palette
