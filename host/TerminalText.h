#pragma once

#include <string>
#include <string_view>

/// `text` as a terminal can show it: characters that could steer it are spelled out, and bytes that
/// are no UTF-8, as paths may hold.
std::string terminalText(std::string_view text);

/// Whether a byte of UTF-8 is not the first one of its character.
bool continuesCharacter(char c);
