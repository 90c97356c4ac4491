// The host's end of a contact, against players that lie: over a real socket, played by the test.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <filesystem>
#include <functional>
#include <random>
#include <thread>

#include "platform/system/Dispatch.h"
#include "runtime/runner/PlayerContact.h"
#include "runtime/sharing/TextureSharing.h"
#include "runtime/textures/TexturePool.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using vuo::Type;
namespace message = vuo::message;
using Outcome = vuo::EventReport::Outcome;

constexpr std::uint32_t kPicture = 0, kNumber = 1, kText = 2;  // outputs
const vuo::PublishedPorts kPorts{{{"image", Type::Image}, {"words", Type::Text}},
                                 {{"picture", Type::Image},
                                  {"n", Type::Real},
                                  {"t", Type::Text},
                                  {"t2", Type::Text},
                                  {"t3", Type::Text},
                                  {"t4", Type::Text},
                                  {"t5", Type::Text},
                                  {"t6", Type::Text},
                                  {"t7", Type::Text},
                                  {"t8", Type::Text},
                                  {"t9", Type::Text}}};

/// What the listener was told, in short.
struct Heard : vuo::InstanceListener {
  void eventFinished(vuo::EventReport& report) override {
    std::string line = std::to_string(report.event);
    if (report.outcome != Outcome::Run) line += " not run";
    for (const vuo::OutputReport& output : report.outputs) {
      line += " " + kPorts.outputs.at(output.output).name;
      if (output.sentData) line += "=" + summary(output.value);
      if (!output.fault.empty()) line += "!";
    }
    lines.push_back(line);
  }
  void eventDropped(std::size_t input) override {
    lines.push_back("dropped " + std::to_string(input));
  }
  void failed(const std::string& what) override { lines.push_back(what); }
  void warned(const std::string& what) override { lines.push_back("warning: " + what); }
  void started() override { ++starts; }
  void contactLost(const std::string&) override { ADD_FAILURE(); }

  int starts = 0;
  std::vector<std::string> lines;
};

platform::FileDescriptor memory(std::size_t size, int seals = F_SEAL_SHRINK) {
  platform::FileDescriptor file(memfd_create("picture", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  EXPECT_EQ(ftruncate(file.get(), static_cast<off_t>(size)), 0);
  EXPECT_EQ(fcntl(file.get(), F_ADD_SEALS, seals), 0);
  return file;
}

/// The test's end of the socket.
class Player {
 public:
  explicit Player(platform::FileDescriptor socket) : _socket(std::move(socket)) {}

  void say(const message::ToHost& what, std::vector<int> descriptors = {}) {
    sayBytes(vuo::encoded(what), descriptors);
  }
  void sayBytes(const std::string& bytes, const std::vector<int>& descriptors = {}) {
    const auto length = static_cast<std::uint32_t>(bytes.size());
    write(std::string(reinterpret_cast<const char*>(&length), sizeof length) + bytes, descriptors);
  }
  /// Until all is written or the host has closed.
  bool write(std::string_view bytes, const std::vector<int>& descriptors = {}) {
    const std::size_t room = CMSG_SPACE(sizeof(int) * descriptors.size());
    std::vector<char> control(room);
    iovec part{const_cast<char*>(bytes.data()), bytes.size()};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    if (!descriptors.empty()) {
      header.msg_control = control.data();
      header.msg_controllen = room;
      cmsghdr* const first = CMSG_FIRSTHDR(&header);
      first->cmsg_level = SOL_SOCKET;
      first->cmsg_type = SCM_RIGHTS;
      first->cmsg_len = CMSG_LEN(sizeof(int) * descriptors.size());
      std::memcpy(CMSG_DATA(first), descriptors.data(), sizeof(int) * descriptors.size());
    }
    const ssize_t count = sendmsg(_socket.get(), &header, MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
    return bytes.empty() || write(bytes);
  }
  /// What the host has said and the test has not heard.
  std::vector<message::ToPlayer> hear() {
    std::vector<message::ToPlayer> heard;
    vuo::MessageSocket socket{platform::FileDescriptor(dup(_socket.get()))};
    while (auto received = socket.receive(0ms))
      heard.push_back(vuo::decoded<message::ToPlayer>(received->bytes));
    return heard;
  }
  void begin() {
    say(message::Greeting());
    say(message::Ready());
  }
  void close() { shutdown(_socket.get(), SHUT_WR); }

 private:
  const platform::FileDescriptor _socket;
};

class ContactTest : public testing::Test {
 protected:
  void meet(std::chrono::milliseconds wholeMessage = vuo::wholeMessagePatience) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    heard = std::make_unique<Heard>();
    contact = std::make_unique<vuo::PlayerContact>(platform::FileDescriptor(ends[0]), kPorts,
                                                   *heard, wholeMessage);
    player = std::make_unique<Player>(platform::FileDescriptor(ends[1]));
  }
  void fire(vuo::EventNumber number) { contact->fire({}, {0, 1}, number, true, 50ms); }
  /// Takes what has been said. How the contact ended, or nothing while it goes on.
  std::string receive() try {
    pollfd said{contact->descriptor(), POLLIN, 0};
    while (poll(&said, 1, 0) == 1)
      if (!contact->handleNext(0ms)) return "closed";
    return "";
  } catch (const std::runtime_error& fault) {
    return fault.what();
  }

  std::unique_ptr<Heard> heard;
  std::unique_ptr<vuo::PlayerContact> contact;
  std::unique_ptr<Player> player;
};

message::EventEnd endOf(std::uint64_t event, std::vector<message::Report> reports) {
  return {event, Outcome::Run, std::move(reports)};
}
message::Report frame(std::uint64_t width, std::uint64_t height, std::uint32_t buffer = 0) {
  return {kPicture, message::PictureInBuffer{buffer, width, height}, ""};
}
message::Report value(std::uint32_t output, message::PlainValue what) {
  return {output, std::move(what), ""};
}
/// A message with one of its bytes changed.
std::string changed(const message::ToHost& what, std::size_t at, char byte) {
  std::string bytes = vuo::encoded(what);
  bytes.at(at) = byte;
  return bytes;
}

struct Lie {
  const char* name;
  const char* how;  ///< in what the host says of the end
  std::function<void(Player&)> tell;
  bool begins = true;  ///< with a greeting, and ready
};

std::ostream& operator<<(std::ostream& out, const Lie& lie) {
  return out << lie.name;
}

const Lie kLies[] = {
    // Order.
    {"no greeting", "did not begin", [](Player& p) { p.say(message::Ready()); }, false},
    {"a report before the greeting", "did not begin", [](Player& p) { p.say(endOf(1, {})); },
     false},
    {"a report right behind the greeting", "before it was ready",
     [](Player& p) {
       p.say(message::Greeting());
       p.say(endOf(1, {}));
     },
     false},
    {"another format", "format 7", [](Player& p) { p.say(message::Greeting{7}); }, false},
    {"two greetings", "greeted twice", [](Player& p) { p.say(message::Greeting()); }},
    {"ready twice", "twice that it is ready", [](Player& p) { p.say(message::Ready()); }},
    {"a late refusal", "refused", [](Player& p) { p.say(message::Refused{"no"}); }},
    {"a report of no event", "was not at", [](Player& p) { p.say(endOf(2, {})); }},
    {"two ends of one event", "was not at",
     [](Player& p) {
       p.say(endOf(1, {}));
       p.say(endOf(1, {}));
     }},
    {"a picture that nobody gave", "was not given",
     [](Player& p) { p.say(message::PictureTaken()); }},
    {"reports of an event that was not run", "not run",
     [](Player& p) {
       p.say(message::EventEnd{1, Outcome::Dropped, {value(kNumber, 1.0)}});
     }},
    // Kinds and types.
    {"an unknown message", "no known kind",
     [](Player& p) { p.sayBytes(changed(message::Ready(), 0, 99)); }},
    {"an unknown value", "no known kind",
     [](Player& p) {
       // Behind kind, event, outcome, count, output and kind of data.
       p.sayBytes(changed(endOf(1, {value(kNumber, 1.0)}), 22, 7));
     }},
    {"an unknown outcome", "its kind does not have",
     [](Player& p) { p.sayBytes(changed(endOf(1, {}), 9, 3)); }},
    {"an output that there is not", "output that there is not",
     [](Player& p) { p.say(endOf(1, {value(11, 1.0)})); }},
    {"the last output of all", "output that there is not",
     [](Player& p) { p.say(endOf(1, {value(0xffffffff, 1.0)})); }},
    {"one output twice", "output that there is not",
     [](Player& p) {
       p.say(endOf(1, {value(kNumber, 1.0), value(kNumber, 2.0)}));
     }},
    {"a text for a number", "VuoReal", [](Player& p) { p.say(endOf(1, {value(kNumber, "1")})); }},
    {"nothing for a text", "VuoText", [](Player& p) { p.say(endOf(1, {value(kText, {})})); }},
    {"a number for a picture", "VuoImage",
     [](Player& p) { p.say(endOf(1, {value(kPicture, 1.0)})); }},
    {"a frame for a number", "VuoReal",
     [](Player& p) {
       p.say(endOf(1, {{kNumber, message::PictureInBuffer{0, 1, 1}, ""}}));
     }},
    // Sizes and counts.
    {"12 MiB of braces", "12582912 bytes",
     [](Player& p) { p.sayBytes(std::string(12 << 20, '{')); }},
    {"a message of braces", "no known kind",
     [](Player& p) { p.sayBytes(std::string(vuo::longestMessage, '{')); }},
    {"an empty message", "breaks off", [](Player& p) { p.sayBytes(""); }},
    {"half a message", "breaks off",
     [](Player& p) { p.sayBytes(vuo::encoded(message::ToHost(endOf(1, {}))).substr(0, 7)); }},
    {"a message and a half", "more in it",
     [](Player& p) { p.sayBytes(vuo::encoded(message::ToHost(endOf(1, {}))) + "x"); }},
    {"four billion reports", "list of 4294967295",
     [](Player& p) {
       std::string bytes = vuo::encoded(message::ToHost(endOf(1, {})));
       p.sayBytes(bytes.replace(13, 4, 4, '\xff'));
     }},
    {"a text of four billion bytes", "breaks off",
     [](Player& p) {
       std::string bytes = vuo::encoded(message::ToHost(message::Fault{"abc"}));
       p.sayBytes(bytes.replace(1, 4, 4, '\xff'));
     }},
    {"a fault at length", "great length",
     [](Player& p) { p.say(message::Fault{std::string(vuo::longestFault + 1, 'x')}); }},
    {"faults without end", "beside an event",
     [](Player& p) {
       for (int i = 0; i < 1000; ++i) p.say(message::Fault{"again"});
     }},
    // Buffers and frames.
    {"buffer 65,500", "too many",
     [](Player& p) {
       p.say(message::Buffer{65'500, 4096}, {memory(4096).get()});
     }},
    {"buffers without end", "beside an event",
     [](Player& p) {
       const auto file = memory(4096);
       for (int i = 0; i < 1000; ++i) p.say(message::Buffer{0, 4096}, {file.get()});
     }},
    {"an empty buffer", "of 0 bytes",
     [](Player& p) {
       p.say(message::Buffer{0, 0}, {memory(0).get()});
     }},
    {"a buffer of everything", "of 18446744073709551615 bytes",
     [](Player& p) {
       p.say(message::Buffer{0, ~0ull}, {memory(4096).get()});
     }},
    {"memory that is too small", "something else",
     [](Player& p) {
       p.say(message::Buffer{0, 4097}, {memory(4096).get()});
     }},
    {"memory that can be cut off", "something else",
     [](Player& p) {
       p.say(message::Buffer{0, 4096}, {memory(4096, 0).get()});
     }},
    {"no memory at all", "something else",
     [](Player& p) {
       const platform::FileDescriptor device(open("/dev/zero", O_RDWR | O_CLOEXEC));
       p.say(message::Buffer{0, 4096}, {device.get()});
     }},
    {"a frame in no buffer", "in no buffer", [](Player& p) { p.say(endOf(1, {frame(1, 1)})); }},
    {"a frame that exceeds its buffer", "in no buffer",
     [](Player& p) {
       p.say(message::Buffer{0, 4096}, {memory(4096).get()});
       p.say(endOf(1, {frame(32, 33)}));
     }},
    {"a frame that exceeds numbers", "in no buffer",
     [](Player& p) {
       p.say(message::Buffer{0, 4096}, {memory(4096).get()});
       p.say(endOf(1, {frame(1ull << 31, 1ull << 31)}));
     }},
    // Textures.
    {"a frame in a texture that it was not lent", "texture that it did not have",
     [](Player& p) {
       p.say(endOf(1, {{kPicture, message::PictureInTexture{0}, ""}}));
     }},
    {"a texture for a number", "VuoReal",
     [](Player& p) {
       p.say(endOf(1, {{kNumber, message::PictureInTexture{0}, ""}}));
     }},
    {"a texture that it was not given", "was not given",
     [](Player& p) {
       p.say(message::TextureTaken{0, ""});
     }},
    {"a texture left that it was not given", "did not have",
     [](Player& p) {
       p.say(message::EventEnd{1, Outcome::Run, {}, {7}});
     }},
    // Descriptors.
    {"a buffer without its descriptor", "without its descriptor",
     [](Player& p) {
       p.say(message::Buffer{0, 4096});
     }},
    {"a descriptor that nobody asked for", "no message asked for",
     [](Player& p) { p.say(endOf(1, {}), {STDERR_FILENO}); }},
    {"two descriptors", "belong to no message",
     [](Player& p) {
       p.say(message::Buffer{0, 4096}, {STDERR_FILENO, STDERR_FILENO});
     }},
    {"two hundred descriptors", "belong to no message",
     [](Player& p) {
       p.say(message::Buffer{0, 4096}, std::vector<int>(200, STDERR_FILENO));
     }},
    {"a descriptor in the middle", "belong to no message",
     [](Player& p) {
       const std::string bytes = vuo::encoded(message::ToHost(message::Buffer{0, 4096}));
       const auto length = static_cast<std::uint32_t>(bytes.size());
       p.write({reinterpret_cast<const char*>(&length), sizeof length});
       p.write(bytes, {STDERR_FILENO});
     }},
};

class Lies : public ContactTest, public testing::WithParamInterface<Lie> {};
INSTANTIATE_TEST_SUITE_P(All, Lies, testing::ValuesIn(kLies), [](const auto& lie) {
  std::string name;
  for (const char c : std::string(lie.param.name)) name += std::isalnum(c) ? c : '_';
  return name;
});

/// The lie is told from another thread, since it may be longer than the socket takes at once.
TEST_P(Lies, EndTheContactWithTheReason) {
  const auto descriptors = [] {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
  };
  const auto before = descriptors();
  meet();
  fire(1);
  std::thread liar([&] {
    if (GetParam().begins) player->begin();
    GetParam().tell(*player);
    player->close();
  });
  std::string how;
  try {
    while (contact->handleNext(std::nullopt)) {
    }
  } catch (const std::runtime_error& fault) {
    how = fault.what();
  }
  contact->shutDown();
  liar.join();
  EXPECT_THAT(how, HasSubstr(GetParam().how));
  EXPECT_THROW(fire(2), std::runtime_error);
  player = nullptr;
  contact = nullptr;
  EXPECT_EQ(descriptors(), before);
}

TEST_F(ContactTest, AMessageHasToComeToItsEndInTime) {
  meet(50ms);
  std::atomic<bool> ended = false;
  std::thread liar([&] {
    const std::string greeting("\xff\0\0\0", 4);
    for (std::size_t i = 0; !ended; ++i) {
      player->write(std::string(1, i < 4 ? greeting[i] : '\0'));
      std::this_thread::sleep_for(5ms);
    }
  });
  std::string how;
  try {
    while (contact->handleNext(std::nullopt)) {
    }
  } catch (const vuo::ProtocolError& fault) {
    how = fault.what();
  }
  EXPECT_THAT(how, HasSubstr("the rest of a message"));
  ended = true;
  contact->shutDown();
  liar.join();
}

TEST_F(ContactTest, WhoeverWaitsForThePlayerIsWoken) {
  meet();
  player->say(message::Greeting());
  ASSERT_TRUE(contact->handleNext(std::nullopt));
  std::thread taker([&] { EXPECT_FALSE(contact->handleNext(std::nullopt)); });
  contact->shutDown();  // the player's end stays open, whoever has it
  taker.join();
}

TEST_F(ContactTest, TheTruthIsTold) {
  meet();
  for (vuo::EventNumber number : {1, 2, 3, 4}) fire(number);
  player->say(message::Greeting());
  player->say(message::EventEnd{4, Outcome::Dropped, {}});
  player->say(message::Ready());
  player->say(message::Buffer{0, 4096}, {memory(4096).get()});
  player->say(message::Fault{"a fault"});
  player->say(endOf(1, {frame(32, 32), value(kNumber, 1.5), {kText, {}, ""}}));
  player->say(message::EventEnd{2, Outcome::Cancelled, {}});
  player->say(endOf(3, {value(kPicture, {}), value(kText, "words")}));
  EXPECT_EQ(receive(), "");
  EXPECT_EQ(heard->starts, 1);
  EXPECT_THAT(heard->lines, ElementsAre("dropped 0", "dropped 1", "4 not run", "a fault",
                                        "1 picture=32x32 n=1.5 t", "2 not run",
                                        "3 picture=no image t=\"words\""));
  const auto said = player->hear();
  ASSERT_EQ(said.size(), 6u);
  const auto* back = std::get_if<message::BufferBack>(&said.back());
  ASSERT_TRUE(back);
  EXPECT_FALSE(back->isLost);
}

TEST_F(ContactTest, WhatThereIsNoRoomForIsAFaultAndNoLie) {
  meet();
  player->begin();
  ASSERT_EQ(receive(), "");
  rlimit usual;
  getrlimit(RLIMIT_NOFILE, &usual);
  const platform::FileDescriptor pixels = memory(4096), next(dup(pixels.get()));
  player->say(message::Buffer{0, 4096}, {pixels.get()});
  const rlimit none{static_cast<rlim_t>(next.get()), usual.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const std::string without = receive();
  setrlimit(RLIMIT_NOFILE, &usual);
  EXPECT_EQ(without, "");
  fire(1);
  player->say(endOf(1, {frame(32, 32)}));
  EXPECT_EQ(receive(), "");
  EXPECT_THAT(heard->lines, ElementsAre(HasSubstr("descriptor"), "1 picture!"));
  const auto said = player->hear();
  const auto* back = std::get_if<message::BufferBack>(&said.back());
  EXPECT_TRUE(back && back->isLost) << "the player is to make another";

  fire(2);
  player->say(message::Buffer{0, 4096}, {pixels.get()});
  player->say(endOf(2, {frame(32, 32)}));
  EXPECT_EQ(receive(), "");
  EXPECT_EQ(heard->lines.back(), "2 picture=32x32") << "works again when there is room";
}

TEST_F(ContactTest, OnlySoManyWordsAreKept) {
  meet();
  player->begin();
  ASSERT_EQ(receive(), "");
  const auto longest = static_cast<std::uint32_t>(vuo::textOfAScene / 1'000'000);
  for (std::uint32_t i = 0; i <= longest; ++i) {
    fire(i);
    std::thread words(
        [&] { player->say(endOf(i, {value(kText + i, std::string(1'000'000, 'x'))})); });
    EXPECT_TRUE(contact->handleNext(std::nullopt));
    words.join();
  }
  EXPECT_EQ(heard->lines.back(), std::to_string(longest) + " t9!");
  fire(50);
  player->say(endOf(50, {value(kText, "few")}));
  fire(51);
  player->say(endOf(51, {value(kText + longest, "few")}));
  EXPECT_EQ(receive(), "");
  EXPECT_EQ(heard->lines.back(), "51 t9=\"few\"");
}

TEST_F(ContactTest, OnlySoMuchIsOnItsWayToThePlayer) {
  meet();
  player->begin();
  ASSERT_EQ(receive(), "");
  // A budget of 2 GiB is eight pictures of the largest size.
  const auto give = [&](std::uint64_t side) {
    contact->setPicture(0, contact->ticketFor(side, side), STDERR_FILENO, 50ms);
  };
  for (int i = 0; i < 8; ++i) give(8192);
  EXPECT_THROW(give(8192), std::runtime_error);
  EXPECT_THROW(give(8193), std::runtime_error);
  player->say(message::PictureTaken());
  EXPECT_EQ(receive(), "");
  for (std::size_t i = 7; i < vuo::mostPicturesUnderWay; ++i) give(1);
  EXPECT_THROW(give(1), std::runtime_error);

  for (vuo::EventNumber number = 1; number <= vuo::mostOpenEvents; ++number) {
    EXPECT_TRUE(contact->hasRoom());
    fire(number);
    if (number % 64 == 0) player->hear();
  }
  EXPECT_FALSE(contact->hasRoom());
  player->say(endOf(1, {}));
  EXPECT_EQ(receive(), "") << "none of it ends the contact";
  EXPECT_TRUE(contact->hasRoom());
}

message::Report inTexture(std::uint32_t texture) {
  return {kPicture, message::PictureInTexture{texture}, ""};
}

/// What it says once it has been lent textures, and how the host takes that.
TEST_F(ContactTest, LiesAboutLentTexturesEndTheContact) {
  vuo::TextureSharing::prepare();
  platform::finishQueues();
  if (vuo::TextureSharing::identity().empty()) GTEST_SKIP() << "this machine shares none";
  const auto said = [&](const std::vector<message::ToHost>& words) {
    meet();
    for (vuo::EventNumber number = 1; number <= 5; ++number) fire(number);
    player->say(message::Greeting());
    player->say(message::Ready{vuo::TextureSharing::identity()});
    player->say(message::Buffer{0, 4096}, {memory(4096).get()});
    player->say(endOf(1, {frame(32, 32)}));
    player->say(endOf(2, {frame(32, 32)}));
    EXPECT_EQ(receive(), "");
    std::vector<std::uint32_t> lent;
    for (const auto& heardOf : player->hear())
      if (const auto* texture = std::get_if<message::Texture>(&heardOf)) {
        EXPECT_TRUE(texture->isLent && texture->width == 32 && texture->height == 32);
        lent.push_back(texture->texture);
      }
    EXPECT_THAT(lent, ElementsAre(0, 1, 2));
    for (const message::ToHost& word : words) player->say(word);
    return receive();
  };
  const message::ToHost taken = message::TextureTaken{0, ""};
  EXPECT_EQ(said({taken, endOf(3, {inTexture(0)})}), "");
  EXPECT_EQ(heard->lines.back(), "3 picture=32x32");
  EXPECT_EQ(said({message::TextureTaken{0, "no"}, endOf(3, {frame(32, 32)})}), "");
  EXPECT_EQ(heard->lines.back(), "3 picture=32x32") << "the way through memory stays";
  EXPECT_THAT(said({endOf(3, {inTexture(0)})}), HasSubstr("did not have")) << "nor taken";
  EXPECT_THAT(said({taken, taken}), HasSubstr("twice"));
  EXPECT_THAT(said({taken, endOf(3, {inTexture(3)})}), HasSubstr("did not have"));
  EXPECT_THAT(said({message::TextureTaken{0, "no"}, endOf(3, {inTexture(0)})}),
              HasSubstr("did not have"));
  // The output keeps no picture here, so it was given back, but the player has not heard of it.
  EXPECT_THAT(said({taken, endOf(3, {inTexture(0)}), endOf(4, {inTexture(0)})}),
              HasSubstr("did not have"));
  EXPECT_THAT(said({taken, endOf(3, {inTexture(0)}), message::EventEnd{4, Outcome::Run, {}, {0}}}),
              HasSubstr("did not have"));
  EXPECT_THAT(said({taken, message::EventEnd{3, Outcome::Run, {}, {0}}, endOf(4, {inTexture(0)})}),
              HasSubstr("did not have"));
  contact = nullptr;
  EXPECT_EQ(vuo::SharedTexture::liveTextures(), 0);
}

TEST(TexturePoolTest, MakesNoMoreThanTheBudgetAllows) {
  const std::vector<std::uint8_t> pixels(64 * 64 * 4);
  vuo::TextureUploader drawing(std::make_shared<vuo::PictureBudget>(3 * pixels.size()));
  std::vector<vuo::ImageRef> images;
  const auto draw = [&](std::uint64_t width, std::uint64_t height) {
    images.push_back(drawing.upload(width, height, pixels.data()));
  };
  for (int i = 0; i < 3; ++i) draw(64, 64);
  EXPECT_THROW(draw(1, 1), std::runtime_error);
  images.resize(1);
  draw(32, 32);  // idle textures of another size give way
  draw(64, 64);
  EXPECT_THROW(draw(64, 64), std::runtime_error);
  EXPECT_THROW(draw(1 << 20, 1 << 20), std::runtime_error);
}

// ---- players that say anything

class Nonsense {
 public:
  explicit Nonsense(unsigned seed) : _random(seed) {}

  std::size_t below(std::size_t end) { return _random() % end; }
  bool oneIn(std::size_t n) { return below(n) == 0; }

  /// From now on another player says it.
  void begin() { _ended = 0; }
  message::ToHost anything() {
    switch (below(40)) {
      case 0:
        if (oneIn(4)) return message::TextureTaken{buffer(), text()};
        return message::PictureTaken();
      case 1:
        return oneIn(9) ? message::ToHost(message::Refused{text()}) : message::Fault{text()};
      case 2:
        return oneIn(2) ? message::ToHost(message::Greeting()) : message::Ready();
      case 3:
      case 4:
      case 5:
      case 6:
      case 7:
        return message::Buffer{buffer(), oneIn(20) ? number() : 4096};
      default: {
        message::EventEnd end{oneIn(40) ? number() : ++_ended, Outcome::Run, {}};
        if (oneIn(40)) end.outcome = static_cast<Outcome>(below(3));
        for (std::uint32_t output = 0; output < 3; ++output)
          if (!oneIn(3)) end.reports.push_back(report(oneIn(90) ? 11 : output));
        return end;
      }
    }
  }
  std::string bytesOf(const message::ToHost& what) {
    std::string bytes = vuo::encoded(what);
    for (std::size_t i = oneIn(20) ? 1 + below(3) : 0; i > 0 && !bytes.empty(); --i)
      bytes[below(bytes.size())] = static_cast<char>(below(256));
    if (oneIn(60)) bytes.resize(below(2 * bytes.size() + 1));
    return bytes;
  }

 private:
  std::uint32_t buffer() { return static_cast<std::uint32_t>(oneIn(30) ? 3 : below(3)); }
  std::uint64_t number() {
    const std::uint64_t numbers[] = {0, 1, 2, 4097, 1ull << 31, 1ull << 32, 1ull << 63, ~0ull};
    return numbers[below(std::size(numbers))];
  }
  std::string text() { return std::string(oneIn(50) ? below(9000) : below(20), 'x'); }
  message::Report report(std::uint32_t output) {
    if (oneIn(90)) return inTexture(buffer());
    const std::size_t kind = oneIn(60) ? below(4) : output;
    if (oneIn(9)) return {output, {}, text()};
    if (kind == kPicture && oneIn(4)) return value(output, {});
    if (kind == kPicture)
      return frame(oneIn(30) ? number() : 1 + below(30), oneIn(30) ? number() : 1 + below(30),
                   buffer());
    if (kind == kNumber) return value(output, 0.5);
    if (kind == kText) return value(output, text());
    return value(output, true);
  }

  std::minstd_rand _random;
  std::uint64_t _ended = 0;
};

/// BRANNOW_FUZZ tells how many messages.
TEST_F(ContactTest, PlayersMaySayAnything) {
  const char* amount = std::getenv("BRANNOW_FUZZ");
  const long messages = amount ? std::atol(amount) : 20'000;
  const platform::FileDescriptor files[] = {
      memory(4096), memory(10), memory(4096, 0),
      platform::FileDescriptor(open("/dev/zero", O_RDWR | O_CLOEXEC))};
  Nonsense nonsense(1);
  vuo::EventNumber fired = 0;
  long ends = 0, frames = 0;
  for (long i = 0; i < messages; ++i) {
    if (!contact) {
      meet(0ms);
      nonsense.begin();
      fired = 0;
      if (!nonsense.oneIn(20)) player->begin();
    }
    fire(++fired);
    const message::ToHost what = nonsense.anything();
    std::vector<int> descriptors;
    if (std::holds_alternative<message::Buffer>(what) != nonsense.oneIn(90))
      descriptors.assign(nonsense.oneIn(30) ? 3 : 1,
                         files[nonsense.oneIn(30) ? nonsense.below(4) : 0].get());
    if (nonsense.oneIn(200))
      player->write(vuo::encoded(what), descriptors);
    else
      player->sayBytes(nonsense.bytesOf(what), descriptors);
    if (receive().empty()) {
      player->hear();
      continue;
    }
    ++ends;
    for (const std::string& line : heard->lines) frames += line.find("picture=") != line.npos;
    contact = nullptr;
  }
  contact = nullptr;
  EXPECT_GT(ends, messages / 100);
  EXPECT_GT(frames, messages / 100) << "not only nonsense";
  EXPECT_EQ(vuo::TexturePool::liveTextures(), 0);
  RecordProperty("contacts", static_cast<int>(ends));
  RecordProperty("frames", static_cast<int>(frames));
}

}  // namespace
