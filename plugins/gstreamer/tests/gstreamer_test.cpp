// The elements in pipelines, without a display.
#include <gmock/gmock.h>
#include <gst/check/gstharness.h>
#include <gst/controller/gstdirectcontrolbinding.h>
#include <gst/controller/gstinterpolationcontrolsource.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;

using Message = std::unique_ptr<GstMessage, decltype(&gst_message_unref)>;

constexpr const char* kPixels = " ! gldownload ! capsfilter caps=video/x-raw,format=RGBA";

struct Picture {
  GstClockTime time = GST_CLOCK_TIME_NONE;
  int width = 0, height = 0;
  std::vector<std::uint8_t> rgba;
};

/// The last elements of a pipeline, with the test as its sink.
class Pulled {
 public:
  explicit Pulled(const std::string& pipeline) : _harness(gst_harness_new_parse(pipeline.c_str())) {
    gst_element_set_bus(_harness->element, _bus.get());
    gst_harness_use_testclock(_harness);
  }
  void play() { gst_harness_play(_harness); }
  ~Pulled() { gst_harness_teardown(_harness); }
  Pulled(const Pulled&) = delete;
  Pulled& operator=(const Pulled&) = delete;

  GstHarness* harness() { return _harness; }
  GstElement* element(const std::string& name) {  // lent
    GstElement* found = gst_bin_get_by_name(GST_BIN(_harness->element), name.c_str());
    if (found) gst_object_unref(found);
    return found;
  }
  Picture picture() {
    GstBuffer* buffer = gst_harness_pull(_harness);
    if (!buffer) return {};
    GstCaps* caps = gst_pad_get_current_caps(_harness->sinkpad);
    GstVideoInfo info;
    gst_video_info_from_caps(&info, caps);
    gst_caps_unref(caps);
    GstMapInfo map;
    gst_buffer_map(buffer, &map, GST_MAP_READ);
    Picture picture{
        GST_BUFFER_PTS(buffer), info.width, info.height, {map.data, map.data + map.size}};
    gst_buffer_unmap(buffer, &map);
    gst_buffer_unref(buffer);
    return picture;
  }
  void seek(double rate, GstClockTime from, GstClockTime to) {
    while (GstBuffer* old = gst_harness_try_pull(_harness)) gst_buffer_unref(old);
    ASSERT_TRUE(gst_harness_push_upstream_event(
        _harness,
        gst_event_new_seek(rate, GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH, GST_SEEK_TYPE_SET,
                           static_cast<gint64>(from), GST_SEEK_TYPE_SET, static_cast<gint64>(to))));
  }
  /// The text of the next message of that kind; empty where none comes in time.
  std::string textOf(GstMessageType type, GstClockTime longest = 60 * GST_SECOND) {
    const Message message(gst_bus_timed_pop_filtered(_bus.get(), longest, type), gst_message_unref);
    if (!message) return "";
    GError* problem = nullptr;
    type == GST_MESSAGE_ERROR ? gst_message_parse_error(message.get(), &problem, nullptr)
                              : gst_message_parse_warning(message.get(), &problem, nullptr);
    std::string text = problem->message;
    g_error_free(problem);
    return text;
  }

 private:
  GstHarness* const _harness;
  const std::unique_ptr<GstBus, decltype(&gst_object_unref)> _bus{gst_bus_new(), gst_object_unref};
};

/// The processes of compositions that this one has.
std::vector<pid_t> players() {
  std::vector<pid_t> found;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream list(thread.path() / "children");
    for (pid_t child; list >> child;) {
      std::string name;
      std::getline(std::ifstream("/proc/" + std::to_string(child) + "/comm"), name);
      if (name == "vuo-player") found.push_back(child);
    }
  }
  return found;
}

GParamSpec* propertyOf(GstElement* element, const char* name) {
  return g_object_class_find_property(G_OBJECT_GET_CLASS(element), name);
}

TEST(Elements, HaveThePublishedPortsAsProperties) {
  const std::unique_ptr<GstElement, decltype(&gst_object_unref)> held(
      GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("brannow-kaleidoscope", nullptr))),
      gst_object_unref);
  GstElement* element = held.get();
  auto* segments = propertyOf(element, "segments");
  ASSERT_TRUE(segments && G_IS_PARAM_SPEC_INT64(segments));
  EXPECT_EQ(G_PARAM_SPEC_INT64(segments)->minimum, 2);
  EXPECT_EQ(G_PARAM_SPEC_INT64(segments)->maximum, 24);
  EXPECT_EQ(G_PARAM_SPEC_INT64(segments)->default_value, 8);
  EXPECT_THAT(g_param_spec_get_blurb(segments), HasSubstr("in steps of 1"));
  EXPECT_TRUE(segments->flags & GST_PARAM_CONTROLLABLE);
  EXPECT_TRUE(segments->flags & GST_PARAM_MUTABLE_PLAYING);
  for (const char* served : {"time", "image", "width", "location", "outputImage"})
    EXPECT_FALSE(propertyOf(element, served)) << served;
  auto* angle = propertyOf(element, "angle");
  ASSERT_TRUE(angle);
  EXPECT_EQ(angle->flags & G_PARAM_READWRITE, G_PARAM_READABLE);

  g_object_set(element, "center-y", 0.25, "tint", 0x8000ff00u, "turning", FALSE, nullptr);
  double x = 0, y = 0, speed = 0;
  guint tint = 0;
  gboolean turning = TRUE;
  g_object_get(element, "center-x", &x, "center-y", &y, "tint", &tint, "turning", &turning, "speed",
               &speed, nullptr);
  EXPECT_EQ(x, 0.5);  // a part that nobody has set
  EXPECT_EQ(y, 0.25);
  EXPECT_EQ(tint, 0x8000ff00u);
  EXPECT_FALSE(turning);
  EXPECT_EQ(speed, 0.2);
}

TEST(Elements, FollowValuesAndCapsWhilePlaying) {
  Pulled pulled(std::string("brannow-plasma name=plasma ! brannow-kaleidoscope name=wheel ! "
                            "capsfilter name=caps") +
                kPixels);
  pulled.play();
  const Picture own = pulled.picture();
  EXPECT_EQ(own.width, 640);
  EXPECT_EQ(own.height, 360);
  double angle = 0;
  for (int i = 0; i < 30; ++i) (void)pulled.picture();
  g_object_get(pulled.element("wheel"), "angle", &angle, nullptr);
  EXPECT_GT(angle, 0.19);

  GstCaps* caps = gst_caps_from_string("video/x-raw(memory:GLMemory),width=64,height=48");
  g_object_set(pulled.element("caps"), "caps", caps, nullptr);
  gst_caps_unref(caps);
  g_object_set(pulled.element("plasma"), "light", 0xff0000ffu, "middle", 0xff0000ffu, "shade",
               0xff0000ffu, nullptr);
  g_object_set(pulled.element("wheel"), "tint", 0xffffffffu, nullptr);
  Picture next;
  while (next.width != 64) next = pulled.picture();
  EXPECT_EQ(next.height, 48);
  while (next.rgba[0] != 0) next = pulled.picture();  // those from before have red
  EXPECT_GT(next.rgba[2], 0);
}

TEST(Elements, DrawForTheStreamTimeOfASeekForwardsAndBackwards) {
  Pulled pulled(std::string("brannow-plasma") + kPixels + ",width=64,height=36,framerate=10/1");
  pulled.play();
  std::map<GstClockTime, std::vector<std::uint8_t>> played;
  for (int i = 0; i < 21; ++i) {
    const Picture picture = pulled.picture();
    EXPECT_EQ(picture.time, static_cast<GstClockTime>(i) * GST_SECOND / 10);
    played[picture.time] = picture.rgba;
  }
  EXPECT_NE(played[0], played[GST_SECOND]);
  struct {
    double rate;
    GstClockTime from, to, first;
    int step;  // frames
  } const seeks[] = {{1.0, GST_SECOND, 3 * GST_SECOND, GST_SECOND, 1},
                     {4.0, 1110 * GST_MSECOND, 2 * GST_SECOND, 1200 * GST_MSECOND, 1},
                     {-1.0, 0, 1500 * GST_MSECOND, 1400 * GST_MSECOND, -1}};
  for (const auto& seek : seeks) {
    pulled.seek(seek.rate, seek.from, seek.to);
    for (int i = 0; i < 5; ++i) {
      const auto time = seek.first + static_cast<GstClockTime>(i * seek.step) * (GST_SECOND / 10);
      Picture picture = pulled.picture();
      while (i == 0 && picture.time != time) picture = pulled.picture();  // from before it
      EXPECT_EQ(picture.time, time) << seek.rate;
      EXPECT_EQ(picture.rgba, played[time]) << seek.rate << " at " << time;
    }
  }
}

TEST(Elements, TakeControlledValuesAtTheStreamTime) {
  Pulled pulled(std::string("brannow-plasma num-buffers=16 ! brannow-kaleidoscope name=wheel") +
                kPixels);
  GstObject* wheel = GST_OBJECT(pulled.element("wheel"));
  GstControlSource* line = gst_interpolation_control_source_new();
  g_object_set(line, "mode", GST_INTERPOLATION_MODE_LINEAR, nullptr);
  gst_timed_value_control_source_set(GST_TIMED_VALUE_CONTROL_SOURCE(line), 0, 0.0);
  gst_timed_value_control_source_set(GST_TIMED_VALUE_CONTROL_SOURCE(line), GST_SECOND, 1.0);
  gst_object_add_control_binding(wheel,
                                 gst_direct_control_binding_new_absolute(wheel, "speed", line));
  gst_object_unref(line);
  pulled.play();
  for (int i = 0; i < 16; ++i) (void)pulled.picture();
  double angle = 0;
  g_object_get(wheel, "angle", &angle, nullptr);
  EXPECT_NEAR(angle, 0.5 * 0.5, 1e-6);  // the speed and the time of the last picture
}

TEST(Elements, HaveAPadForEachPictureThatTheyTake) {
  const std::string left = "brannow-plasma", right = "brannow-plasma speed=2 scale=2";
  Pulled both("brannow-beside border=0.25 name=both" + std::string(kPixels) + " " + left +
              " ! both.image " + right + " ! both.other");
  Pulled first(left + kPixels), second(right + kPixels);
  both.play();
  first.play();
  second.play();
  for (int i = 0; i < 10; ++i) {
    const Picture beside = both.picture(), expected[] = {first.picture(), second.picture()};
    ASSERT_EQ(beside.rgba.size(), expected[0].rgba.size());
    EXPECT_EQ(beside.time, expected[0].time);
    for (std::size_t at = 0; at < beside.rgba.size(); at += 1000) {
      const bool isRight = at / 4 % 640 >= 160;
      ASSERT_EQ(beside.rgba[at], expected[isRight].rgba[at]) << i << " " << at;
    }
  }
  for (Pulled* pipeline : {&both, &first, &second})  // all of them share textures
    EXPECT_EQ(pipeline->textOf(GST_MESSAGE_WARNING, 0), "");
}

TEST(Elements, SayWhyACompositionDoesNotLoad) {
  const std::string file = testing::TempDir() + "brannow-faulty.vuo";
  std::ofstream(file) << "digraph G {\nPublishedOutputs [type=\"vuo.out\" "
                         "label=\"Out|<outputImage>o\" _outputImage_type=\"VuoImage\"];\n"
                         "S [type=\"vuo.shader\" shader=\"gone.frag\"];\n"
                         "S:image -> PublishedOutputs:outputImage;\n}\n";
  const std::map<std::string, std::string> reasons = {
      {file, "brannow-faulty.vuo:3:"},
      {COMPOSITIONS_DIR "/invert.vuo", "is a filter"},
      {"/nowhere.vuo", "no such file"},
      {"", "No composition is named"}};
  for (const auto& [name, reason] : reasons) {
    Pulled pulled("brannowsrc location=\"" + name + "\"" + kPixels);
    gst_element_set_state(pulled.harness()->element, GST_STATE_PLAYING);
    EXPECT_THAT(pulled.textOf(GST_MESSAGE_ERROR), HasSubstr(reason));
  }
  std::filesystem::remove(file);
}

TEST(Elements, GoOnAfterTheirPlayerIsKilled) {
  Pulled pulled(std::string("brannow-plasma speed=1.5") + kPixels + ",framerate=10/1");
  Pulled inside(std::string("brannow-plasma speed=1.5 process=inside") + kPixels +
                ",framerate=10/1");
  pulled.play();
  inside.play();
  for (int i = 0; i < 40; ++i) {
    if (i == 5) {
      ASSERT_EQ(players().size(), 1u);
      ::kill(players()[0], SIGKILL);
    }
    const Picture picture = pulled.picture();
    const Picture expected = inside.picture();
    ASSERT_EQ(picture.time, expected.time);
    ASSERT_EQ(picture.rgba, expected.rgba) << i;  // with its values, and without a gap
  }
  EXPECT_THAT(pulled.textOf(GST_MESSAGE_WARNING), HasSubstr("signal 9"));
}

TEST(Elements, KeepTheLastPictureWhereLive) {
  Pulled pulled(std::string("brannow-plasma is-live=true") + kPixels + ",framerate=10/1");
  pulled.play();
  GstClockTime last = 0;
  for (int i = 0; i < 20; ++i) {
    if (i == 5) ::kill(players().at(0), SIGKILL);
    gst_harness_crank_single_clock_wait(pulled.harness());
    const Picture picture = pulled.picture();
    EXPECT_GE(picture.time, last);
    last = picture.time;
    EXPECT_NE(picture.rgba[3], 0) << i;
  }
  EXPECT_EQ(gst_harness_query_latency(pulled.harness()), GST_SECOND / 10);
}

}  // namespace

int main(int count, char** arguments) {
  for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "GST_GL_WINDOW", "GST_GL_PLATFORM"})
    ::unsetenv(variable);
  gst_init(&count, &arguments);
  testing::InitGoogleTest(&count, arguments);
  return RUN_ALL_TESTS();
}
