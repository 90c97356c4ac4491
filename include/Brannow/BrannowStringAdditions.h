#pragma once

#include <string>

/// The text without one trailing "/"; the text itself when it has none.
std::string trimExtraSlashFromEnd(std::string text);
