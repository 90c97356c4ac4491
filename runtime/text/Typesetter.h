// Letters as pixels. What sets them comes in a library of its own, since most compositions have no
// text and the libraries that it stands on take a while to load.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vuo {

enum class Alignment { Start, Middle, End };

/// What is to be set. The box is where the lines are broken and aligned; its sides are in pixels.
struct TextSetting {
  std::string text;              ///< any bytes
  std::string font;              ///< families and style, such as "Serif, DejaVu Serif Bold Italic"
  double size = 0;               ///< of the font, in pixels
  std::array<float, 4> color{};  ///< red, green, blue, alpha
  Alignment horizontal = Alignment::Start, vertical = Alignment::Start;
  std::uint32_t width = 0, height = 0;

  bool operator==(const TextSetting&) const = default;
};

/// The part of the box that has ink: red, green, blue and alpha, which is multiplied in; bottom row
/// first.
struct Letters {
  std::uint32_t left = 0, bottom = 0, width = 0, height = 0;
  std::vector<std::uint8_t> pixels;
  std::vector<std::string> warnings;  ///< for people: what could not be set as it was asked for
};

/// Made, used and destroyed on one thread.
class Typesetter {
 public:
  virtual ~Typesetter() = default;
  /// Throws std::runtime_error where there is no font at all or no memory.
  virtual Letters set(const TextSetting& setting) = 0;
};

/// Loads the library, at the first call. Throws std::runtime_error where that can't be done.
std::unique_ptr<Typesetter> makeTypesetter();

/// The library's one entry, which changes with what stands above.
constexpr const char* typesetterEntryName = "vuoMakeTypesetter1";
using TypesetterEntry = Typesetter* (*)();

}  // namespace vuo
