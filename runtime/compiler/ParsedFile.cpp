#include "runtime/compiler/ParsedFile.h"

#include <graphviz/cgraph.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "runtime/compiler/DotOutline.h"

// Resets the scanner behind agmemread. Without it a comment or a string that one text leaves open
// swallows the next text.
extern "C" int aaglex_destroy();

namespace vuo {
namespace {

/// What cgraph had to say since the handler was installed.
std::string cgraphMessages;

class CgraphSession {
 public:
  CgraphSession() {
    cgraphMessages.clear();
    _previousHandler = agseterrf([](char* text) {
      cgraphMessages += text;
      return 0;
    });
  }
  ~CgraphSession() {
    aaglex_destroy();
    agreseterrors();
    agseterrf(_previousHandler);
  }
  CgraphSession(const CgraphSession&) = delete;
  CgraphSession& operator=(const CgraphSession&) = delete;

 private:
  agusererrf _previousHandler;
};

struct CloseGraph {
  void operator()(Agraph_t* graph) const { agclose(graph); }
};
using Graph = std::unique_ptr<Agraph_t, CloseGraph>;

/// What stands between two marks.
std::string between(const std::string& text, const std::string& begin, const std::string& end) {
  const std::size_t at = text.find(begin);
  if (at == text.npos) return "";
  const std::size_t from = at + begin.size(), to = text.rfind(end);
  return to == text.npos || to < from ? "" : text.substr(from, to - from);
}

std::string adviceFor(const std::string& sign) {
  if (sign == "-") return "; a cable is written A:output -> B:input";
  if (sign == ".") return "; a name or value with a dot in it needs quotation marks";
  return "; something is missing or too much in front of it";
}

/// cgraph names the first sign that does not fit, as in "Error: syntax error in line 3 near ']'".
[[noreturn]] void throwCgraphMessage(const std::string& text) {
  const std::string message = cgraphMessages.substr(0, cgraphMessages.find('\n'));
  const int line = std::atoi(between(message, "in line ", "").c_str());
  const std::string sign = between(message, "near '", "'");
  if (line == 0) throw std::runtime_error("there is no graph in the file");
  if (message.find("comment") != message.npos)
    throw FaultAt({line, 0}, "a comment has no */ at its end");
  throw FaultAt(placeOf(text, sign, line),
                "syntax error" + (sign.empty() ? "" : " at " + sign + adviceFor(sign)));
}

std::string attributeOf(void* object, const char* key) {
  const char* value = agget(object, const_cast<char*>(key));
  return value == nullptr ? "" : value;
}

NodeStatement statementOf(Agraph_t* graph, Agnode_t* node, const DotOutline& outline) {
  NodeStatement statement{agnameof(node), {}, {}};
  const auto declared = outline.nodes.find(statement.name);
  const auto mentioned = outline.mentions.find(statement.name);
  if (declared != outline.nodes.end())
    statement.places = declared->second;
  else if (mentioned != outline.mentions.end())
    statement.places.place = mentioned->second;
  for (Agsym_t* key = agnxtattr(graph, AGNODE, nullptr); key; key = agnxtattr(graph, AGNODE, key))
    if (const char* value = agxget(node, key); *value != '\0')
      statement.attributes.emplace(key->name, value);
  return statement;
}

std::vector<NodeStatement> nodesOf(Agraph_t* graph, const DotOutline& outline) {
  std::vector<NodeStatement> nodes;
  for (Agnode_t* node = agfstnode(graph); node; node = agnxtnode(graph, node))
    nodes.push_back(statementOf(graph, node, outline));
  return nodes;
}

std::vector<CableStatement> cablesOf(Agraph_t* graph, const DotOutline& outline) {
  std::vector<Agedge_t*> edges;
  for (Agnode_t* node = agfstnode(graph); node; node = agnxtnode(graph, node))
    for (Agedge_t* edge = agfstout(graph, node); edge; edge = agnxtout(graph, edge))
      edges.push_back(edge);
  std::sort(edges.begin(), edges.end(),
            [](Agedge_t* one, Agedge_t* other) { return AGSEQ(one) < AGSEQ(other); });

  const bool areKnown = edges.size() == outline.cables.size();
  std::vector<CableStatement> cables;
  for (Agedge_t* edge : edges)
    cables.push_back({agnameof(agtail(edge)), attributeOf(edge, "tailport"), agnameof(aghead(edge)),
                      attributeOf(edge, "headport"), attributeOf(edge, "event"),
                      areKnown ? outline.cables[cables.size()] : Place{}});
  return cables;
}

}  // namespace

std::string NodeStatement::attribute(const std::string& key) const {
  const auto found = attributes.find(key);
  return found == attributes.end() ? "" : found->second;
}

DotOutline::Attribute NodeStatement::placesOf(const std::string& key) const {
  const auto found = places.attributes.find(key);
  return found == places.attributes.end() ? DotOutline::Attribute{places.place, places.place}
                                          : found->second;
}

ParsedFile parsedFile(const std::string& text) {
  if (text.find('\0') != text.npos) throw std::runtime_error("the file is no text");
  const DotOutline outline = outlineOf(text);

  const CgraphSession session;
  const Graph graph(agmemread(text.c_str()));
  if (!graph || agerrors() > 0) throwCgraphMessage(text);
  if (!agisdirected(graph.get()) || agisstrict(graph.get()))
    throw std::runtime_error("a composition begins with \"digraph\", without \"strict\"");
  return {nodesOf(graph.get(), outline), cablesOf(graph.get(), outline)};
}

}  // namespace vuo
