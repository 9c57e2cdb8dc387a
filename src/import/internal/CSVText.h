#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

/// Texts of delimited files before they are split into fields.
namespace qw::CSVText {

/// Makes every CR LF a LF.
void normalizeLineEnds(std::string& text);

/// Where the line with this number begins, counted from 1: behind the end (LF, VT, FF, CR, NEL, LS or PS of
/// Unicode) of the one before. The size of the text when it has fewer lines.
std::size_t startOfLine(std::string_view text, std::size_t number);
/// How many line ends the text holds.
std::size_t countLineEnds(std::string_view text);

/// The separator among the candidates that splits the first records most evenly, and into the most fields; an
/// earlier candidate wins a tie. Empty when none of them splits anything.
std::string guessSeparator(std::string_view text, std::span<const std::string> candidates);

}  // namespace qw::CSVText
