// One section of a program file, by its name: what a plug-in carries with it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace frei0r {

/// The section of an exported plug-in that holds its composition. It is there, empty, in the file
/// that plug-ins are made from, so that an export writes no table anew; and as a section it stays
/// when the file is stripped.
inline constexpr std::string_view exportSection = ".brannow";

/// What is in the section; none when the file has no such section or is no whole ELF file of this
/// machine's kind. Lent by `elf`.
std::optional<std::string_view> sectionOf(std::string_view elf, std::string_view name);

/// The same file with other contents in the section, at its end. None as above.
std::optional<std::string> withSection(std::string_view elf, std::string_view name,
                                       std::string_view contents);

}  // namespace frei0r
