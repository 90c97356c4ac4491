// String operations of the host's utilities.
#pragma once

#include <string>
#include <string_view>

/// The first character of a UTF-8 text, as a text of one character; empty for an empty text.
std::string firstChar(std::string_view text);

/// Whether a Text input of this name receives a text source file: yes when the name, compared
/// without case, contains "txtfile" or "textfile".
bool denotesTXTFileInput(std::string_view portName);
