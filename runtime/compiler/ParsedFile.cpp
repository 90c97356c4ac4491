#include "runtime/compiler/ParsedFile.h"

#include <graphviz/cgraph.h>

#include <algorithm>
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

/// cgraph's "Error: " and line breaks make no sense inside a longer message.
std::string firstCgraphMessage() {
  std::string message = cgraphMessages.substr(0, cgraphMessages.find('\n'));
  if (message.starts_with("Error: ")) message.erase(0, 7);
  return message.empty() ? "there is no graph in the file" : message;
}

std::string attributeOf(void* object, const char* key) {
  const char* value = agget(object, const_cast<char*>(key));
  return value == nullptr ? "" : value;
}

NodeStatement statementOf(Agraph_t* graph, Agnode_t* node, const DotOutline& outline) {
  NodeStatement statement{agnameof(node), 0, {}};
  const auto line = outline.nodeLines.find(statement.name);
  if (line != outline.nodeLines.end()) statement.line = line->second;
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

std::vector<CableStatement> cablesOf(Agraph_t* graph) {
  std::vector<Agedge_t*> edges;
  for (Agnode_t* node = agfstnode(graph); node; node = agnxtnode(graph, node))
    for (Agedge_t* edge = agfstout(graph, node); edge; edge = agnxtout(graph, edge))
      edges.push_back(edge);
  std::sort(edges.begin(), edges.end(),
            [](Agedge_t* one, Agedge_t* other) { return AGSEQ(one) < AGSEQ(other); });

  std::vector<CableStatement> cables;
  for (Agedge_t* edge : edges)
    cables.push_back({agnameof(agtail(edge)), attributeOf(edge, "tailport"), agnameof(aghead(edge)),
                      attributeOf(edge, "headport"), attributeOf(edge, "event")});
  return cables;
}

}  // namespace

std::string NodeStatement::attribute(const std::string& key) const {
  const auto found = attributes.find(key);
  return found == attributes.end() ? "" : found->second;
}

ParsedFile parsedFile(const std::string& text) {
  if (text.find('\0') != text.npos) throw std::runtime_error("the file is no text");
  const DotOutline outline = outlineOf(text);

  const CgraphSession session;
  const Graph graph(agmemread(text.c_str()));
  if (!graph || agerrors() > 0) throw std::runtime_error(firstCgraphMessage());
  if (!agisdirected(graph.get()) || agisstrict(graph.get()))
    throw std::runtime_error("a composition begins with \"digraph\", without \"strict\"");
  return {nodesOf(graph.get(), outline), cablesOf(graph.get())};
}

}  // namespace vuo
