// How a composition file writes values: 0.5, true, {r:1,g:0,b:0,a:1}, {x:0.5,y:0.5}, some text.
#pragma once

#include <string>

#include "runtime/VuoPlan.h"

namespace vuo {

/// The value as JSON text. Throws std::runtime_error when the text is no value of that type.
std::string constantFromNotation(Type type, const std::string& text);

/// What a port holds that nothing was ever put into: 0, false, transparent black, {0,0} or an empty
/// text. An image port holds nothing: empty.
std::string constantOfUntouchedPort(Type type);

}  // namespace vuo
