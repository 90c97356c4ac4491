#include "runtime/compiler/DotOutline.h"

#include <strings.h>

#include <cctype>
#include <cstdint>
#include <string_view>
#include <unordered_set>

namespace vuo {
namespace {

/// The parser takes a time that grows with the square of a text's length.
constexpr std::size_t longestText = 64 << 10;
/// The parser keeps a slot for every attribute name in every node.
constexpr std::uint64_t mostBytesTimesAttributes = 1 << 28;

struct Token {
  enum Kind : char { End = 0, Word = 'w', Quoted = 'q', Arrow = '>' };
  char kind = End;  ///< a Kind, or the character itself
  std::string text;
  Place place;

  bool isId() const { return kind == Word || kind == Quoted; }
};

class Scanner {
 public:
  explicit Scanner(std::string_view text) : _text(text) {}

  Token next() {
    skipBlanks();
    Token token{Token::End, {}, place()};
    if (_at >= _text.size()) return token;
    const char c = _text[_at];
    if (c == '"') return quoted();
    if (c == '<') return html();
    if (isWord(c) || (c == '-' && isWord(peek(1)))) return word();
    token.kind = c == '-' ? char{Token::Arrow} : c;
    step(c == '-' ? 2 : 1);
    return token;
  }

 private:
  static bool isWord(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.' || (c & 0x80);
  }
  char peek(std::size_t ahead) const {
    return _at + ahead < _text.size() ? _text[_at + ahead] : '\0';
  }
  Place place() const { return {_line, _column}; }
  void step(std::size_t count = 1) {
    for (; count > 0 && _at < _text.size(); --count) {
      const char c = _text[_at++];
      if (c == '\n') ++_line;
      _column = c == '\n' ? 1 : _column + ((c & 0xc0) != 0x80);
    }
  }
  void skipTo(std::string_view end) {
    const std::size_t found = _text.find(end, _at);
    step((found == _text.npos ? _text.size() : found) - _at);
  }
  bool atLineStart() const { return _at == 0 || _text[_at - 1] == '\n'; }

  void skipBlanks() {
    for (;; step()) {
      if (peek(0) == '/' && peek(1) == '*') {
        step(2);
        skipTo("*/");
        step();
      } else if ((peek(0) == '/' && peek(1) == '/') || (peek(0) == '#' && atLineStart())) {
        skipTo("\n");
      } else if (_at >= _text.size() || !std::isspace(static_cast<unsigned char>(peek(0)))) {
        return;
      }
    }
  }

  Token word() {
    Token token{Token::Word, {}, place()};
    do {
      token.text += peek(0);
      step();
    } while (isWord(peek(0)));
    return token;
  }

  /// One text, or several joined with "+".
  Token quoted() {
    Token token{Token::Quoted, {}, place()};
    do {
      step();
      for (; _at < _text.size() && peek(0) != '"'; step()) {
        if (peek(0) == '\\' && peek(1) == '"') {
          step();
        } else if (peek(0) == '\\' && peek(1) == '\\') {
          token.text += '\\';
          step();
        }
        token.text += peek(0);
      }
      if (_at >= _text.size()) neverEnds(token.place);
      if (_lineOfLongText == 0 && _line > token.place.line) _lineOfLongText = token.place.line;
      step();
      skipBlanks();
      if (peek(0) != '+') break;
      step();
      skipBlanks();
    } while (peek(0) == '"');
    return token;
  }

  [[noreturn]] void neverEnds(Place begin) const {
    const std::string perhaps =
        _lineOfLongText > 0
            ? "; perhaps one is missing in line " + std::to_string(_lineOfLongText) + " already"
            : "";
    throw FaultAt(begin, "the text that begins here has no \" at its end" + perhaps);
  }

  Token html() {
    Token token{Token::Quoted, {}, place()};
    int depth = 0;
    do {
      depth += peek(0) == '<' ? 1 : peek(0) == '>' ? -1 : 0;
      token.text += peek(0);
      step();
    } while (depth > 0 && _at < _text.size());
    return token;
  }

  std::string_view _text;
  std::size_t _at = 0;
  int _line = 1, _column = 1;
  int _lineOfLongText = 0;  ///< where the first text begins that goes on in the next line
};

/// "node [...]", "edge [...]" and "graph [...]" set defaults and may come often.
bool setsDefaults(const Token& token) {
  if (token.kind != Token::Word) return false;
  for (const char* keyword : {"node", "edge", "graph"})
    if (strcasecmp(token.text.c_str(), keyword) == 0) return true;
  return false;
}

class Outliner {
 public:
  explicit Outliner(const std::string& text) : _scanner(text), _length(text.size()) {}

  DotOutline outline() {
    Token token = _scanner.next();
    for (; token.kind != Token::End; token = _scanner.next()) {
      check(token);
      if (token.text.size() > longestText) fault(token, "a text is longer than 64 KiB");
      _beforePrevious = std::move(_previous);
      _previous = std::move(token);
    }
    if (_inGraph && !_ended) fault(token, "the graph has no } at its end");
    return std::move(_outline);
  }

 private:
  [[noreturn]] static void fault(const Token& token, const std::string& what) {
    throw FaultAt(token.place, what);
  }

  void check(const Token& token) {
    if (_ended) fault(token, "there is text after the end of the graph");
    switch (token.kind) {
      case '{':
        if (_inGraph) fault(token, "a composition has no subgraphs and no groups of nodes");
        _inGraph = true;
        break;
      case '}':
        _ended = true;
        break;
      case '[':
        _inAttributes = true;
        _node = nullptr;
        if (_previous.isId()) noteDeclaration(_previous);
        break;
      case ']':
        _inAttributes = false;
        break;
      case ',':
        if (!_inAttributes) fault(token, "a cable has one port at each end, no list of them");
        break;
      case '=':
        noteAttributeName(_previous);
        break;
      case Token::Arrow:
        _outline.cables.push_back(_cableEnd);
        break;
      default:
        noteId(token);
        break;
    }
  }

  void noteId(const Token& token) {
    if (!_inGraph || !token.isId() || _previous.kind == ':') return;
    if (!_inAttributes) {
      _cableEnd = token.place;
      _outline.mentions.emplace(token.text, token.place);
    } else if (_attribute && _previous.kind == '=') {
      _attribute->value = token.place;
    }
  }

  void noteDeclaration(const Token& owner) {
    const bool ofCable = _beforePrevious.kind == Token::Arrow || _beforePrevious.kind == ':';
    if (ofCable || setsDefaults(owner)) return;
    const auto [known, isNew] = _outline.nodes.try_emplace(owner.text);
    _node = &known->second;
    if (!isNew)
      fault(owner, "node \"" + owner.text + "\" is declared twice, first in line " +
                       std::to_string(_node->place.line));
    _node->place = owner.place;
  }

  void noteAttributeName(const Token& name) {
    _attributeNames.insert(name.text);
    if (_attributeNames.size() * _length > mostBytesTimesAttributes)
      fault(name, "too many different attributes for a composition of this size");
    _attribute = _node ? &_node->attributes[name.text] : nullptr;
    if (_attribute) _attribute->name = name.place;
  }

  Scanner _scanner;
  std::size_t _length;
  Token _previous, _beforePrevious;
  bool _inGraph = false, _inAttributes = false, _ended = false;
  Place _cableEnd;
  DotOutline::Node* _node = nullptr;            ///< whose attributes come
  DotOutline::Attribute* _attribute = nullptr;  ///< whose value comes
  std::unordered_set<std::string> _attributeNames;
  DotOutline _outline;
};

}  // namespace

DotOutline outlineOf(const std::string& text) {
  return Outliner(text).outline();
}

}  // namespace vuo
