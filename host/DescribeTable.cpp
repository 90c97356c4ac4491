#include "host/DescribeTable.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "host/ShortestDigits.h"
#include "host/TerminalText.h"

namespace {

using PortRow = std::array<std::string, 8>;
constexpr std::size_t kLongestText = 60;

std::size_t columnsOf(std::string_view text) {
  return text.size() -
         static_cast<std::size_t>(std::count_if(text.begin(), text.end(), continuesCharacter));
}

/// The beginning of a text that is longer than a column should be.
std::string shownBriefly(std::string_view text) {
  std::size_t end = 0;
  for (std::size_t columns = 0; end < text.size(); ++end) {
    if (!continuesCharacter(text[end]) && columns++ == kLongestText)
      return terminalText(text.substr(0, end)) + "…";
  }
  return terminalText(text);
}

std::string shownValue(double number) {
  return shortestDigits(number);
}
std::string shownValue(std::int64_t number) {
  return std::to_string(number);
}
std::string shownValue(bool truth) {
  return truth ? "true" : "false";
}
std::string shownValue(const ZQVuoColor& color) {
  return shortestDigits(color.red) + "," + shortestDigits(color.green) + "," +
         shortestDigits(color.blue) + "," + shortestDigits(color.alpha);
}
std::string shownValue(const ZQVuoPoint& point) {
  return shortestDigits(point.x) + "," + shortestDigits(point.y);
}
std::string shownValue(const std::string& text) {
  return std::string("\"").append(shownBriefly(text)).append("\"");
}
std::string shownValue(const std::optional<double>& number) {
  return number ? shownValue(*number) : "";
}
std::string shownValue(const ZQVuoCompositionPort::Value& value) {
  if (!value) return "";
  return std::visit([](const auto& contents) { return shownValue(contents); }, value->contents());
}

const char* roleOf(const ZQVuoComposition& composition, const ZQVuoComposition::Port& port) {
  if (port == composition.runnerWidthPort()) return "render width";
  if (port == composition.runnerHeightPort()) return "render height";
  if (port == composition.runnerTimePort()) return "time";
  if (port == composition.runnerImageInputPort()) return "image in";
  if (port == composition.runnerImageOutputPort()) return "image out";
  if (port == composition.runnerTxtSrcFileInputPort()) return "text source file";
  return "";
}

const char* kindOf(const ZQVuoComposition& composition) {
  if (composition.conformsToVuoProtocol(ZQVuoProtocol_ImageFilter)) return "image filter";
  if (composition.conformsToVuoProtocol(ZQVuoProtocol_TxtSrcFileInput))
    return "image generator with a text source file";
  if (composition.conformsToVuoProtocol(ZQVuoProtocol_ImageGenerator)) return "image generator";
  return "neither image filter nor image generator";
}

PortRow rowFor(const ZQVuoComposition& composition, const ZQVuoComposition::Port& port) {
  const char* type = ZQVuoPortTypeDescription(port->portType());
  return {shownBriefly(port->portName()), type ? type : "",
          shownValue(port->minVal()),     shownValue(port->maxVal()),
          shownValue(port->defaultVal()), shownValue(port->stepVal()),
          port->wantsUI() ? "yes" : "",   roleOf(composition, port)};
}

std::string aligned(const std::vector<PortRow>& rows) {
  std::array<std::size_t, std::tuple_size_v<PortRow>> widths{};
  for (const PortRow& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columnsOf(row[i]));
  }
  std::string text;
  for (const PortRow& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i)
      line += "  " + row[i] + std::string(widths[i] - columnsOf(row[i]), ' ');
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

std::string section(const char* title, const ZQVuoComposition& composition,
                    const ZQVuoComposition::PortList& ports) {
  if (ports.empty()) return std::string(title) + ": none\n";
  std::vector<PortRow> rows{{"Name", "Type", "Min", "Max", "Default", "Step", "Control", "Role"}};
  for (const auto& port : ports) rows.push_back(rowFor(composition, port));
  return std::string(title) + ":\n" + aligned(rows);
}

}  // namespace

std::string describeTable(const ZQVuoComposition& composition) {
  return terminalText(composition.fileName()) + ": " + kindOf(composition) + "\n" +
         terminalText(composition.path()) + "\n" +
         section("Inputs", composition, composition.publishedInputPorts()) +
         section("Outputs", composition, composition.publishedOutputPorts()) + "\n";
}
