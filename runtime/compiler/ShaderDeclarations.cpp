#include "runtime/compiler/ShaderDeclarations.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <set>
#include <string_view>

#include "runtime/compiler/Word.h"

namespace vuo {
namespace {

using Tokens = std::vector<std::string>;
constexpr const char* body = "{}";

/// Words and single signs; directives that are left are skipped.
class ShaderScanner {
 public:
  explicit ShaderScanner(std::string_view text) : _rest(text) {}

  std::string next() {
    for (;; _rest.remove_prefix(1)) {
      if (_rest.empty()) return {};
      if (_rest.front() == '#') _rest.remove_prefix(std::min(_rest.find('\n'), _rest.size() - 1));
      if (!std::isspace(static_cast<unsigned char>(_rest.front()))) break;
    }
    const auto end = std::find_if_not(_rest.begin(), _rest.end(), isWord);
    const auto length = std::max<std::size_t>(static_cast<std::size_t>(end - _rest.begin()), 1);
    const std::string token(_rest.substr(0, length));
    _rest.remove_prefix(length);
    return token;
  }

 private:
  std::string_view _rest;
};

/// The next statement outside of functions, with `body` for what stands between braces; none at the
/// end. The body of a function ends it like a semicolon.
std::optional<Tokens> nextStatement(ShaderScanner& scanner) {
  Tokens statement;
  int depth = 0;
  for (std::string token = scanner.next(); !token.empty(); token = scanner.next()) {
    if (token == "}" && --depth == 0) {
      const bool isFunction = !statement.empty() && statement.back() == ")";
      statement.push_back(body);
      if (isFunction) return statement;
      continue;
    }
    if (token == "{") ++depth;
    if (depth > 0) continue;
    if (token == ";") return statement;
    statement.push_back(token);
  }
  return std::nullopt;
}

/// Goes through the tokens of one statement.
class Reader {
 public:
  explicit Reader(const Tokens& tokens) : _tokens(tokens) {}

  bool atEnd() const { return _at >= _tokens.size(); }
  std::string peek() const { return atEnd() ? "" : _tokens[_at]; }
  std::string next() { return atEnd() ? "" : _tokens[_at++]; }
  bool consume(const char* expected) {
    if (peek() != expected) return false;
    ++_at;
    return true;
  }
  /// What stands in brackets from here on, without gaps.
  std::string consumeBracketed() {
    std::string text;
    int depth = 0;
    do {
      depth += isOpening(peek()) ? 1 : isClosing(peek()) ? -1 : 0;
      text += next();
    } while (depth > 0 && !atEnd());
    return text;
  }
  void skipToNextName() {
    while (!atEnd() && peek() != ",")
      if (isOpening(peek()))
        consumeBracketed();
      else
        next();
  }

 private:
  static bool isOpening(const std::string& token) { return token == "(" || token == "["; }
  static bool isClosing(const std::string& token) { return token == ")" || token == "]"; }

  const Tokens& _tokens;
  std::size_t _at = 0;
};

/// Parses what stands before the type.
void parseQualifiers(Reader& reader, ShaderVariable& variable) {
  static const std::set<std::string> storages{"uniform", "in", "out"};
  static const std::set<std::string> others{"flat",  "smooth", "noperspective", "centroid",
                                            "highp", "lowp",   "mediump",       "invariant"};
  for (;;) {
    if (storages.contains(reader.peek()))
      variable.storage = reader.next();
    else if (others.contains(reader.peek()))
      variable.qualifiers.push_back(reader.next());
    else if (reader.consume("layout"))
      variable.qualifiers.push_back("layout" + reader.consumeBracketed());
    else
      return;
  }
}

void parseVariables(Reader reader, std::vector<ShaderVariable>& variables) {
  ShaderVariable variable;
  parseQualifiers(reader, variable);
  if (variable.storage.empty() || reader.atEnd()) return;
  variable.type = reader.next();
  if (variable.type == "struct" && reader.peek() != body) reader.next();
  const bool isBlock = reader.consume(body) && variable.type != "struct";
  const bool isArray = reader.peek() == "[" && !reader.consumeBracketed().empty();
  if (isBlock) {
    variable.name = variable.type;
    variable.type = "block";
    variables.push_back(variable);
    return;
  }
  do {
    variable.name = reader.next();
    variable.isArray = isArray || reader.peek() == "[";
    reader.skipToNextName();
    if (!variable.name.empty()) variables.push_back(variable);
  } while (reader.consume(","));
}

}  // namespace

std::vector<ShaderVariable> declarationsIn(const std::string& preprocessed) {
  std::vector<ShaderVariable> variables;
  ShaderScanner scanner(preprocessed);
  while (const auto statement = nextStatement(scanner))
    parseVariables(Reader(*statement), variables);
  return variables;
}

}  // namespace vuo
