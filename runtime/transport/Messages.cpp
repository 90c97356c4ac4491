#include "runtime/transport/Messages.h"

namespace vuo::message {
namespace {

struct ToPlain {
  PlainValue operator()(const ImageRef&) const { return std::monostate(); }
  PlainValue operator()(const auto& value) const { return value; }
};

struct FromPlain {
  vuo::Value operator()(std::monostate) const { return ImageRef(); }
  vuo::Value operator()(auto&& value) const { return std::move(value); }
};

}  // namespace

PlainValue plain(const vuo::Value& value) {
  return std::visit(ToPlain(), value);
}

vuo::Value valueFor(Type type, PlainValue value) {
  vuo::Value given = std::visit(FromPlain(), std::move(value));
  if (given.index() != converted(vuo::Value(), type).index())
    throw ProtocolError(std::string("it sent a value that is no ") + typeName(type));
  return given;
}

}  // namespace vuo::message
