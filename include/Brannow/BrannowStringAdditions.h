#pragma once

#include <string>

#include "Brannow/BrannowExport.h"

/// The text without one trailing "/"; the text itself when it has none.
BRANNOW_API std::string trimExtraSlashFromEnd(std::string text);
