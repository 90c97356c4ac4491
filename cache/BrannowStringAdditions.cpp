#include "Brannow/BrannowStringAdditions.h"

std::string trimExtraSlashFromEnd(std::string text) {
  if (text.ends_with('/')) text.pop_back();
  return text;
}
