#include "plugins/frei0r/ElfSection.h"

#include <elf.h>
#include <link.h>

#include <cstring>

namespace frei0r {
namespace {

using Header = ElfW(Ehdr);
using Section = ElfW(Shdr);
constexpr unsigned char ownClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;

template <class Record>
std::optional<Record> recordAt(std::string_view elf, std::size_t place) {
  if (place > elf.size() || elf.size() - place < sizeof(Record)) return std::nullopt;
  Record record;
  std::memcpy(&record, elf.data() + place, sizeof(Record));
  return record;
}

std::optional<std::string_view> contentsOf(std::string_view elf, const Section& section) {
  if (section.sh_offset > elf.size() || section.sh_size > elf.size() - section.sh_offset)
    return std::nullopt;
  return elf.substr(section.sh_offset, section.sh_size);
}

/// Where the section's entry in the table of sections lies.
std::optional<std::size_t> placeOfSection(std::string_view elf, std::string_view name) {
  const auto header = recordAt<Header>(elf, 0);
  if (!header || std::memcmp(header->e_ident, ELFMAG, SELFMAG) != 0 ||
      header->e_ident[EI_CLASS] != ownClass || header->e_shentsize != sizeof(Section))
    return std::nullopt;
  const auto placeOf = [&](std::size_t index) { return header->e_shoff + index * sizeof(Section); };
  const auto namesEntry = recordAt<Section>(elf, placeOf(header->e_shstrndx));
  const auto names = namesEntry ? contentsOf(elf, *namesEntry) : std::nullopt;
  if (!names) return std::nullopt;
  const std::string wanted = std::string(name) + '\0';
  for (std::size_t i = 0; i < header->e_shnum; ++i) {
    const auto section = recordAt<Section>(elf, placeOf(i));
    if (section && section->sh_name < names->size() &&
        names->substr(section->sh_name).starts_with(wanted))
      return placeOf(i);
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string_view> sectionOf(std::string_view elf, std::string_view name) {
  const auto place = placeOfSection(elf, name);
  return place ? contentsOf(elf, *recordAt<Section>(elf, *place)) : std::nullopt;
}

std::optional<std::string> withSection(std::string_view elf, std::string_view name,
                                       std::string_view contents) {
  const auto place = placeOfSection(elf, name);
  if (!place) return std::nullopt;
  Section section = *recordAt<Section>(elf, *place);
  section.sh_offset = elf.size();
  section.sh_size = contents.size();
  section.sh_addralign = 1;
  std::string result;
  result.reserve(elf.size() + contents.size());
  result.append(elf).append(contents);
  std::memcpy(result.data() + *place, &section, sizeof(section));
  return result;
}

}  // namespace frei0r
