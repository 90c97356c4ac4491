#include "platform/hostbase/HostStrings.h"

std::string firstChar(std::string_view text) {
  std::size_t length = text.empty() ? 0 : 1;
  const auto continues = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
  while (length < text.size() && continues(text[length])) ++length;
  return std::string(text.substr(0, length));
}

bool denotesTXTFileInput(std::string_view portName) {
  std::string name(portName);
  for (char& c : name) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return name.find("txtfile") != std::string::npos || name.find("textfile") != std::string::npos;
}
