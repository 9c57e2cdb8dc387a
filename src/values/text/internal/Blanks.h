#pragma once

#include <string_view>

namespace qw {

/// Whether a character shows nothing between words: white space (Unicode's White_Space) or a mark of the
/// writing direction.
bool isBlank(char32_t c);
/// Without the blanks at both ends.
std::string_view trimmed(std::string_view text);

}  // namespace qw
