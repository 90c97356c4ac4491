// All that a host and a player say to each other. Ports are named by their places in the plan's
// lists, which both ends know. To add a message, describe it here, put it at the end of one of the
// two lists, and raise `messageFormat`; the compiler then asks for what each end does with it.
//
// Either end begins with its greeting. The player then says that it is ready or refuses; the host
// need not wait for that.
#pragma once

#include "runtime/Value.h"
#include "runtime/graph/Instance.h"
#include "runtime/transport/Codec.h"

namespace vuo {

/// Raised with every change of what travels. Both ends come from one build, so another number means
/// that files of two builds were mixed.
constexpr std::uint32_t messageFormat = 4;

template <>
inline constexpr auto membersOf<VuoColor> = std::tuple(&VuoColor::r, &VuoColor::g, &VuoColor::b,
                                                       &VuoColor::a);
template <>
inline constexpr auto membersOf<VuoPoint2d> = std::tuple(&VuoPoint2d::x, &VuoPoint2d::y);
template <>
inline constexpr auto lastOf<EventReport::Outcome> = EventReport::Outcome::Cancelled;

namespace message {

/// Whether a message of that kind brings a descriptor; if so, exactly one.
template <class Kind>
constexpr bool bringsDescriptor = false;

/// A value that is no picture; `std::monostate` is an image port's absent picture.
using PlainValue =
    std::variant<std::monostate, double, std::int64_t, VuoColor, bool, VuoPoint2d, std::string>;

/// The first message of either end. Its form is the same in every format.
struct Greeting {
  std::uint32_t format = messageFormat;
  static constexpr auto members = std::tuple(&Greeting::format);
};

// ---- host to player

/// Takes effect with the next event.
struct InputValue {
  std::uint32_t input = 0;
  PlainValue value;
  static constexpr auto members = std::tuple(&InputValue::input, &InputValue::value);
};

/// Values that found no room in the message of their event.
struct Values {
  std::vector<InputValue> values;
  static constexpr auto members = std::tuple(&Values::values);
};

/// Numbered from 1, in order. The player reports the end of each.
struct Event {
  std::uint64_t event = 0;
  bool asked = false;  ///< also reaches published outputs that nothing has run for yet
  std::vector<InputValue> values;
  std::vector<std::uint32_t> inputs;             ///< that it enters at
  std::vector<std::uint32_t> texturesBack = {};  ///< lent ones, for the player to draw in again
  static constexpr auto members = std::tuple(&Event::event, &Event::asked, &Event::values,
                                             &Event::inputs, &Event::texturesBack);
};

/// Nobody waits for the event any more.
struct Cancel {
  std::uint64_t event = 0;
  static constexpr auto members = std::tuple(&Cancel::event);
};

/// Like a value. The descriptor is that of shared memory with the pixels.
struct InputPicture {
  std::uint32_t input = 0;
  std::uint64_t width = 0, height = 0;
  static constexpr auto members =
      std::tuple(&InputPicture::input, &InputPicture::width, &InputPicture::height);
};
template <>
inline constexpr bool bringsDescriptor<InputPicture> = true;

/// The frame in that buffer has been taken in.
struct BufferBack {
  std::uint32_t buffer = 0;
  bool isLost = false;  ///< the host could not map it; it is to be made anew
  static constexpr auto members = std::tuple(&BufferBack::buffer, &BufferBack::isLost);
};

struct Stop {
  static constexpr auto members = std::tuple();
};

/// A texture of the host's for both ends, by a number that is used once. The player answers with
/// `TextureTaken`. The descriptor is that of its memory; ImageMemory tells the rest.
struct Texture {
  std::uint32_t texture = 0;
  bool isLent = false;  ///< for the player to draw in; otherwise an input's picture lies in it
  std::uint64_t width = 0, height = 0, memory = 0;
  bool isDedicated = false;
  std::string head;
  static constexpr auto members =
      std::tuple(&Texture::texture, &Texture::isLent, &Texture::width, &Texture::height,
                 &Texture::memory, &Texture::isDedicated, &Texture::head);
};
template <>
inline constexpr bool bringsDescriptor<Texture> = true;

/// The input's texture is used no more.
struct TextureGone {
  std::uint32_t texture = 0;
  static constexpr auto members = std::tuple(&TextureGone::texture);
};

/// Like a value: the picture that lies in a texture which the player has taken. It stays as it is
/// until the player has left it.
struct InputTexture {
  std::uint32_t input = 0, texture = 0;
  static constexpr auto members = std::tuple(&InputTexture::input, &InputTexture::texture);
};

using ToPlayer = std::variant<Greeting, Values, Event, Cancel, InputPicture, BufferBack, Stop,
                              Texture, TextureGone, InputTexture>;

// ---- player to host

/// The composition has come up.
struct Ready {
  std::string device = {};  ///< on which it could share textures (see deviceIdentity); or empty
  static constexpr auto members = std::tuple(&Ready::device);
};

/// The composition can't be played. The player ends.
struct Refused {
  std::string why;
  static constexpr auto members = std::tuple(&Refused::why);
};

/// A buffer for frames, or a larger one in its place. The descriptor is that of the shared memory.
struct Buffer {
  std::uint32_t buffer = 0;
  std::uint64_t size = 0;
  static constexpr auto members = std::tuple(&Buffer::buffer, &Buffer::size);
};
template <>
inline constexpr bool bringsDescriptor<Buffer> = true;

/// A picture whose pixels stand in a buffer, which is the host's until it gives it back.
struct PictureInBuffer {
  std::uint32_t buffer = 0;
  std::uint64_t width = 0, height = 0;
  static constexpr auto members =
      std::tuple(&PictureInBuffer::buffer, &PictureInBuffer::width, &PictureInBuffer::height);
};

/// A picture that was drawn in a texture that the host has lent, complete on the GPU. The texture
/// is the host's until it gives it back.
struct PictureInTexture {
  std::uint32_t texture = 0;
  static constexpr auto members = std::tuple(&PictureInTexture::texture);
};

/// An output that an event has reached; `std::monostate`: without data.
struct Report {
  std::uint32_t output = 0;
  std::variant<std::monostate, PlainValue, PictureInBuffer, PictureInTexture> data;
  std::string fault;  ///< of a node that the value depends on, or why the value is not there
  static constexpr auto members = std::tuple(&Report::output, &Report::data, &Report::fault);
};

struct EventEnd {
  std::uint64_t event = 0;
  EventReport::Outcome outcome = EventReport::Outcome::Run;
  std::vector<Report> reports;  ///< in the order of the outputs; none unless it was run
  /// An input's, once for each picture in it that the player has done with; a lent one that it will
  /// not draw in again.
  std::vector<std::uint32_t> texturesLeft = {};
  static constexpr auto members =
      std::tuple(&EventEnd::event, &EventEnd::outcome, &EventEnd::reports, &EventEnd::texturesLeft);
};

/// The oldest input picture that had not been taken.
struct PictureTaken {
  static constexpr auto members = std::tuple();
};

/// A node could not do its work, or, for a warning, not quite; the composition goes on.
struct Fault {
  std::string what;
  bool isWarning = false;
  static constexpr auto members = std::tuple(&Fault::what, &Fault::isWarning);
};

/// The answer to each texture, in order.
struct TextureTaken {
  std::uint32_t texture = 0;
  std::string fault;  ///< why it can't be used; empty when it can
  static constexpr auto members = std::tuple(&TextureTaken::texture, &TextureTaken::fault);
};

using ToHost =
    std::variant<Greeting, Ready, Refused, Buffer, EventEnd, PictureTaken, Fault, TextureTaken>;

/// What a value that is no picture travels as.
PlainValue plain(const vuo::Value& value);
/// The value of a port of that type. Throws ProtocolError when it is of another.
vuo::Value valueFor(Type type, PlainValue value);

}  // namespace message
}  // namespace vuo
