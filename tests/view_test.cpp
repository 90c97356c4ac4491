// What the window decides without a window.
#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <cmath>
#include <filesystem>

#include "host/view/FileWatch.h"
#include "host/view/FrameHistory.h"
#include "host/view/NumberRange.h"
#include "host/view/OscInput.h"
#include "platform/system/FileSystem.h"

using namespace std::chrono_literals;

namespace {

NumberRange rangeOf(ZQVuoPortType type, std::optional<double> min, std::optional<double> max,
                    std::optional<double> step) {
  const auto port = ZQVuoCompositionPort::createWithPortType(type, "number");
  port->setMinVal(min);
  port->setMaxVal(max);
  port->setStepVal(step);
  return NumberRange(*port);
}

/// A text of an OSC packet ends with up to four zeros.
std::string padded(std::string text) {
  text.resize((text.size() / 4 + 1) * 4);
  return text;
}
std::string bigEndian(std::uint32_t bits) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(bits >> shift);
  return bytes;
}
std::string message(const std::string& address, const std::string& types,
                    const std::string& arguments) {
  return padded(address) + padded("," + types) + arguments;
}
std::string bundle(std::initializer_list<std::string> elements) {
  std::string packet = padded("#bundle") + std::string(8, 0);
  for (const auto& element : elements)
    packet += bigEndian(static_cast<std::uint32_t>(element.size())) + element;
  return packet;
}
std::optional<ZQVuoPortValue> valueIn(const std::string& packet, ZQVuoPortType type) {
  const auto inputs = inputsInOscPacket(packet);
  const auto found = inputs.find("x");
  return found == inputs.end() ? std::nullopt : valueFromOsc(found->second, type);
}

TEST(OscInput, ValuesAreThoseOfThePortsType) {
  const std::string half = bigEndian(std::bit_cast<std::uint32_t>(0.5F)), three = bigEndian(3);
  const auto sent = [](const std::string& types, const std::string& arguments) {
    return message("/brannow/x", types, arguments);
  };
  const struct {
    std::string packet;
    ZQVuoPortType type;
    std::optional<ZQVuoPortValue> value;
  } table[] = {
      {sent("f", half), ZQVuoPortType_Real, 0.5},
      {sent("i", three), ZQVuoPortType_Real, 3.0},
      {sent("f", half), ZQVuoPortType_Integer, 0},
      {sent("h", std::string(4, 0) + three), ZQVuoPortType_Integer, 3},
      {sent("T", ""), ZQVuoPortType_Boolean, true},
      {sent("i", three), ZQVuoPortType_Boolean, true},
      {sent("fff", half + half + half), ZQVuoPortType_Color, ZQVuoColor{0.5, 0.5, 0.5, 1}},
      {sent("ffif", half + half + three + half), ZQVuoPortType_Color, ZQVuoColor{0.5, 0.5, 3, 0.5}},
      {sent("ff", half + half), ZQVuoPortType_Point2D, ZQVuoPoint{0.5, 0.5}},
      {sent("s", padded("Grüße")), ZQVuoPortType_Text, "Grüße"},
      {sent("f", half), ZQVuoPortType_Point2D, {}},
      {sent("f", half), ZQVuoPortType_Text, {}},
      {sent("s", padded("1")), ZQVuoPortType_Real, {}},
      {sent("N", ""), ZQVuoPortType_Real, {}},
      {sent("", ""), ZQVuoPortType_Real, {}},
      {message("/other/x", "f", half), ZQVuoPortType_Real, {}},
      {bundle({sent("f", half), bundle({sent("i", three)})}), ZQVuoPortType_Real, 3.0},
  };
  for (const auto& row : table)
    EXPECT_EQ(valueIn(row.packet, row.type), row.value) << testing::PrintToString(row.packet);
}

/// What an address sanitizer sees, too.
TEST(OscInput, PacketsMaySayAnything) {
  const std::string good =
      bundle({message("/brannow/x", "fsTih",
                      bigEndian(1) + padded("text") + bigEndian(2) + std::string(8, 1)),
              bundle({message("/brannow/x", "ff", std::string(8, 2))})});
  for (std::size_t i = 0; i < good.size(); ++i) {
    const std::vector<char> begun(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(i));
    inputsInOscPacket({begun.data(), begun.size()});
    for (const int byte : {0, 0x7F, 0xFF, int('/'), int('s'), int('b'), int(',')}) {
      std::vector<char> bad(good.begin(), good.end());
      bad[i] = static_cast<char>(byte);
      inputsInOscPacket({bad.data(), bad.size()});
    }
  }
  std::string deep = message("/brannow/x", "i", bigEndian(3));
  for (int i = 0; i < 1000; ++i) deep = bundle({deep});
  EXPECT_EQ(valueIn(deep, ZQVuoPortType_Real), std::nullopt);
}

TEST(NumberRange, IsASliderOnlyBetweenTwoEnds) {
  EXPECT_TRUE(rangeOf(ZQVuoPortType_Real, 0, 1, {}).isSlider());
  EXPECT_FALSE(rangeOf(ZQVuoPortType_Real, 0, {}, 0.1).isSlider());
  EXPECT_FALSE(rangeOf(ZQVuoPortType_Real, {}, 1, {}).isSlider());
  EXPECT_FALSE(rangeOf(ZQVuoPortType_Real, 1, 1, {}).isSlider());
  EXPECT_FALSE(rangeOf(ZQVuoPortType_Real, 2, 1, {}).isSlider());
  EXPECT_FALSE(rangeOf(ZQVuoPortType_Real, 0, 1e300, {}).isSlider());
  EXPECT_FALSE(rangeOf(ZQVuoPortType_Real, 0, INFINITY, {}).isSlider());
}

TEST(NumberRange, StepsFromTheLowerEndAndReachesTheUpperOne) {
  const auto range = rangeOf(ZQVuoPortType_Real, 0.5, 2, 0.4);
  EXPECT_DOUBLE_EQ(range.nearest(0.8), 0.9);
  EXPECT_DOUBLE_EQ(range.nearest(1.8), 1.7);
  EXPECT_DOUBLE_EQ(range.nearest(2), 2);
  EXPECT_DOUBLE_EQ(range.nearest(7), 2);
  EXPECT_DOUBLE_EQ(range.nearest(-7), 0.5);
}

TEST(NumberRange, StaysBelowAnEndThatIsNoStepAway) {
  EXPECT_DOUBLE_EQ(rangeOf(ZQVuoPortType_Real, 0, 1, 0.3).nearest(0.99), 0.9);
  EXPECT_DOUBLE_EQ(rangeOf(ZQVuoPortType_Real, 0, 1, 0.7).nearest(0.99), 0.7);
  EXPECT_DOUBLE_EQ(rangeOf(ZQVuoPortType_Real, 0, 1, 0.6).nearest(0.95), 1);
}

TEST(NumberRange, TakesNoStepThatIsNone) {
  for (const double step : {0.0, -1.0, double(NAN), double(INFINITY)}) {
    EXPECT_DOUBLE_EQ(rangeOf(ZQVuoPortType_Real, 0, 1, step).nearest(0.123), 0.123);
    EXPECT_DOUBLE_EQ(rangeOf(ZQVuoPortType_Integer, 0, 9, step).nearest(3.6), 4);
  }
  EXPECT_DOUBLE_EQ(rangeOf(ZQVuoPortType_Integer, 0, 9, 0.4).nearest(3.6), 4);
}

TEST(NumberRange, ShowsAsManyDecimalsAsAStepHas) {
  EXPECT_EQ(rangeOf(ZQVuoPortType_Real, 0, 1, 0.05).decimals(), 2);
  EXPECT_EQ(rangeOf(ZQVuoPortType_Real, 0, 1, 0.1).decimals(), 1);
  EXPECT_EQ(rangeOf(ZQVuoPortType_Real, 0, 100, 5).decimals(), 0);
  EXPECT_EQ(rangeOf(ZQVuoPortType_Real, 0, 1, {}).decimals(), 3);
  EXPECT_EQ(rangeOf(ZQVuoPortType_Real, {}, {}, 1e-12).decimals(), 6);
  EXPECT_EQ(rangeOf(ZQVuoPortType_Integer, 0, 1, 0.5).decimals(), 0);
}

TEST(FrameHistory, CountsTheFramesOfTheLastSecond) {
  FrameHistory history;
  const FrameHistory::Clock::time_point start{};
  EXPECT_EQ(history.rate(start), 0);
  for (int frame = 0; frame <= 100; ++frame) history.add(start + frame * 20ms, 5ms);
  EXPECT_NEAR(history.rate(start + 2000ms), 50, 0.5);
  EXPECT_NEAR(history.meanMilliseconds(start + 2000ms), 5, 1e-9);
  EXPECT_EQ(history.rate(start + 9s), 0);
  EXPECT_EQ(history.meanMilliseconds(start + 9s), 0);
}

TEST(FrameHistory, KeepsEnoughForAFastDisplayAndShowsTheLatest) {
  FrameHistory history;
  const FrameHistory::Clock::time_point start{};
  for (int frame = 0; frame < 1000; ++frame)
    history.add(start + frame * 2ms, std::chrono::milliseconds(frame));
  EXPECT_NEAR(history.rate(start + 1998ms), 500, 2);
  ASSERT_EQ(history.milliseconds().size(), FrameHistory::kLength);
  EXPECT_FLOAT_EQ(history.milliseconds().back(), 999);
}

/// Writes the file with a modification time of its own, however fast the writes follow each other.
void writeAt(const std::string& file, int second) {
  ASSERT_TRUE(platform::writeFileAtomically(file, "contents"));
  std::filesystem::last_write_time(file, std::filesystem::file_time_type(1s * second));
}

TEST(FileWatch, SeesEachChangeOnceItHasSettled) {
  const std::string file = testing::TempDir() + "watched.vuo", other = file + ".frag";
  writeAt(file, 1);
  platform::removeFile(other);
  FileWatch watch({file, other});
  FileWatch::Clock::time_point now{};
  EXPECT_FALSE(watch.changed(now += 1s));
  writeAt(file, 2);
  EXPECT_FALSE(watch.changed(now + 10ms));
  EXPECT_FALSE(watch.changed(now += 1s));
  EXPECT_TRUE(watch.changed(now += 1s));
  EXPECT_FALSE(watch.changed(now += 1s));

  platform::removeFile(file);
  EXPECT_FALSE(watch.changed(now += 1s));
  EXPECT_FALSE(watch.changed(now += 100ms)) << "it may be about to be replaced";
  EXPECT_TRUE(watch.changed(now += 1s));
  EXPECT_FALSE(watch.changed(now += 1s));
  writeAt(other, 3);
  EXPECT_FALSE(watch.changed(now += 1s));
  watch.follow({other, file + ".png"});
  EXPECT_TRUE(watch.changed(now += 1s)) << "of a file that was watched before";
  writeAt(file, 3);
  EXPECT_FALSE(watch.changed(now += 1s));
  EXPECT_FALSE(watch.changed(now += 1s)) << "of one that is watched no more";
  for (const std::string& left : {file, other}) platform::removeFile(left);
}

}  // namespace
