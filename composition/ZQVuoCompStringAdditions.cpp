#include "Brannow/ZQVuoCompStringAdditions.h"

std::string stringByTrimmingQuotesFromEnds(std::string text) {
  if (text.starts_with('"')) text.erase(0, 1);
  if (text.ends_with('"')) text.pop_back();
  return text;
}
