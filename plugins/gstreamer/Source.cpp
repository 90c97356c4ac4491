// A source of pictures: brannowsrc, and one for each generator among the known compositions.
#include <gst/gl/gl.h>

#include <algorithm>
#include <memory>

#include "gstreamer/Elements.h"

namespace {

enum { kIsLive = ElementCore::kFirstOfBase, kWallClock };

struct Source {
  GstGLBaseSrc parent;
  ElementCore* core;
  // Of the streaming thread.
  gint64 frame;         // counts from `anchor`, backwards where the rate is negative
  GstClockTime anchor;  // where the frame rate began to count
  ZQSize ownSize;       // of pictures whose size nobody can choose; 0 where one can
  bool hasWallClock;    // atomic
  GstClockID wait;      // under the object's lock, as the next one
  bool isUnlocked;
  guint64 made, missed;  // pictures since the start
};

struct SourceClass {
  GstGLBaseSrcClass parent;
  const ElementKind* kind;
};

GstGLBaseSrcClass* parentClass = nullptr;  // the same for every kind

Source* sourceOf(gpointer object) {
  return static_cast<Source*>(object);
}

ElementCore& coreOf(gpointer object) {
  return *sourceOf(object)->core;
}

bool choosesSize(const ZQVuoComposition& composition) {
  return composition.runnerWidthPort() && composition.runnerHeightPort();
}

int defaultOf(const ZQVuoComposition::Port& port) {
  const auto value = port->defaultVal();
  const auto number = value ? value->longLongValue().value_or(0) : 0;
  return static_cast<int>(std::clamp<std::int64_t>(number, 1, 16384));
}

// --- time

GstClockTime frameDuration(const GstVideoInfo& info) {
  return gst_util_uint64_scale(GST_SECOND, static_cast<guint64>(info.fps_d),
                               static_cast<guint64>(info.fps_n));
}

GstClockTime timeOf(const Source& source, gint64 frame) {
  const GstVideoInfo& info = source.parent.out_info;
  return source.anchor + gst_util_uint64_scale(static_cast<guint64>(frame),
                                               static_cast<guint64>(info.fps_d) * GST_SECOND,
                                               static_cast<guint64>(info.fps_n));
}

/// The first frame that does not lie before the time.
gint64 frameAt(const Source& source, GstClockTime time) {
  const GstVideoInfo& info = source.parent.out_info;
  if (time <= source.anchor) return 0;
  return static_cast<gint64>(
      gst_util_uint64_scale_ceil(time - source.anchor, static_cast<guint64>(info.fps_n),
                                 static_cast<guint64>(info.fps_d) * GST_SECOND));
}

void goTo(Source& source, const GstSegment& segment) {
  source.anchor = 0;
  if (GST_VIDEO_INFO_FPS_N(&source.parent.out_info) == 0) {  // before there are caps
    source.frame = 0;
  } else if (segment.rate >= 0) {
    source.frame = frameAt(source, segment.position);
  } else {
    source.frame = frameAt(source, segment.position) - 1;
  }
}

gboolean doSeek(GstBaseSrc* base, GstSegment* segment) {
  if (segment->rate < 0 && !GST_CLOCK_TIME_IS_VALID(segment->stop)) return FALSE;
  segment->time = segment->start;
  goTo(*sourceOf(base), *segment);
  return TRUE;
}

gboolean isSeekable(GstBaseSrc* base) {
  return !gst_base_src_is_live(base);
}

/// The base class would wait when the picture is there, and move it to then.
void getTimes(GstBaseSrc*, GstBuffer*, GstClockTime* start, GstClockTime* end) {
  *start = *end = GST_CLOCK_TIME_NONE;
}

/// Waits for the frame's moment on the pipeline's clock; false where that has been broken off.
bool waitForMoment(Source& source) {
  GstElement* element = GST_ELEMENT(&source);
  GstClock* clock = gst_element_get_clock(element);
  if (!clock) return true;
  const GstClockTime moment =
      gst_element_get_base_time(element) +
      gst_segment_to_running_time(&GST_BASE_SRC(&source)->segment, GST_FORMAT_TIME,
                                  timeOf(source, source.frame));
  GstClockID wait = gst_clock_new_single_shot_id(clock, moment);
  gst_object_unref(clock);
  GST_OBJECT_LOCK(element);
  const bool isUnlocked = source.isUnlocked;
  if (!isUnlocked) source.wait = wait;
  GST_OBJECT_UNLOCK(element);
  const bool isOver = !isUnlocked && gst_clock_id_wait(wait, nullptr) != GST_CLOCK_UNSCHEDULED;
  GST_OBJECT_LOCK(element);
  source.wait = nullptr;
  GST_OBJECT_UNLOCK(element);
  gst_clock_id_unref(wait);
  return isOver;
}

// --- size

GstCaps* fixate(GstBaseSrc* base, GstCaps* caps) {
  Source& source = *sourceOf(base);
  ZQSize size = source.ownSize;
  const auto composition = source.core->scene().description();
  if (composition && choosesSize(*composition))
    size = {static_cast<double>(defaultOf(composition->runnerWidthPort())),
            static_cast<double>(defaultOf(composition->runnerHeightPort()))};
  caps = gst_caps_make_writable(gst_caps_truncate(caps));
  GstStructure* structure = gst_caps_get_structure(caps, 0);
  gst_structure_fixate_field_nearest_int(structure, "width", static_cast<int>(size.width));
  gst_structure_fixate_field_nearest_int(structure, "height", static_cast<int>(size.height));
  gst_structure_fixate_field_nearest_fraction(structure, "framerate", 30, 1);
  if (gst_structure_has_field(structure, "pixel-aspect-ratio"))
    gst_structure_fixate_field_nearest_fraction(structure, "pixel-aspect-ratio", 1, 1);
  return GST_BASE_SRC_CLASS(parentClass)->fixate(base, caps);
}

gboolean setCaps(GstBaseSrc* base, GstCaps* caps) {
  Source& source = *sourceOf(base);
  GstVideoInfo info;
  if (!gst_video_info_from_caps(&info, caps) || info.fps_n == 0) return FALSE;
  const bool isFirst = source.parent.out_info.fps_n == 0;
  const bool isOtherRate = !isFirst && (info.fps_n != source.parent.out_info.fps_n ||
                                        info.fps_d != source.parent.out_info.fps_d);
  if (isOtherRate) {  // goes on from where it is
    source.anchor = timeOf(source, source.frame);
    source.frame = 0;
  }
  if (!GST_BASE_SRC_CLASS(parentClass)->set_caps(base, caps)) return FALSE;
  if (isFirst) goTo(source, base->segment);
  return TRUE;
}

// --- pictures

/// Where live and late, the frames whose moment has passed are left out.
void leaveOutLateFrames(Source& source) {
  GstBaseSrc* base = GST_BASE_SRC(&source);
  GstElement* element = GST_ELEMENT(&source);
  GstClock* clock = gst_element_get_clock(element);
  if (!clock) return;
  const GstClockTime now = gst_clock_get_time(clock);
  gst_object_unref(clock);
  const GstClockTime begun = gst_element_get_base_time(element);
  if (now <= begun) return;
  const guint64 position =
      gst_segment_position_from_running_time(&base->segment, GST_FORMAT_TIME, now - begun);
  if (!GST_CLOCK_TIME_IS_VALID(position)) return;
  const gint64 current = frameAt(source, position) - 1;
  if (current <= source.frame) return;
  source.missed += static_cast<guint64>(current - source.frame);
  source.frame = current;
}

/// Tells of a picture that was not there in time, and of those that were left out before it.
void tellOfMissed(Source& source, guint64 missedBefore, GstClockTime start, GstClockTime end) {
  source.core->scene().isRepeated() ? ++source.missed : ++source.made;
  GstBaseSrc* base = GST_BASE_SRC(&source);
  if (!gst_base_src_is_live(base) || source.missed == missedBefore) return;
  const GstSegment& segment = base->segment;
  GstMessage* message = gst_message_new_qos(
      GST_OBJECT(base), TRUE, gst_segment_to_running_time(&segment, GST_FORMAT_TIME, start),
      gst_segment_to_stream_time(&segment, GST_FORMAT_TIME, start), start, end - start);
  gst_message_set_qos_stats(message, GST_FORMAT_BUFFERS, source.made, source.missed);
  gst_element_post_message(GST_ELEMENT(base), message);
}

VuoFrameRequest requestFor(const Source& source, GstClockTime time) {
  VuoFrameRequest request;
  if (!__atomic_load_n(&source.hasWallClock, __ATOMIC_RELAXED))
    request.time = static_cast<double>(time) / GST_SECOND;
  const auto composition = source.core->scene().description();
  if (choosesSize(*composition))
    request.size = {static_cast<double>(source.parent.out_info.width),
                    static_cast<double>(source.parent.out_info.height)};
  return request;
}

/// A composition that chooses its pictures' size is told of none, and may change it at any time.
void followSize(Source& source, const ZQBufferRef& picture) {
  if (!picture || choosesSize(*source.core->scene().description())) return;
  if (picture->size() == source.ownSize) return;
  source.ownSize = picture->size();
  gst_pad_mark_reconfigure(GST_BASE_SRC_PAD(&source));
}

GstFlowReturn fill(GstPushSrc* push, GstBuffer* buffer) {
  Source& source = *sourceOf(push);
  GstBaseSrc* base = GST_BASE_SRC(push);
  const GstSegment& segment = base->segment;
  if (!source.parent.context) return GST_FLOW_NOT_NEGOTIATED;
  source.core->use(source.parent.context);
  const guint64 missedBefore = source.missed;
  for (bool isLive = gst_base_src_is_live(base); isLive;) {
    leaveOutLateFrames(source);
    if (waitForMoment(source)) break;
    const GstFlowReturn flow = gst_base_src_wait_playing(base);
    if (flow != GST_FLOW_OK) return flow;
  }
  const bool isBackwards = segment.rate < 0;
  if (source.frame < 0) return GST_FLOW_EOS;
  const GstClockTime start = timeOf(source, source.frame);
  const GstClockTime end = timeOf(source, source.frame + 1);
  if (GST_CLOCK_TIME_IS_VALID(segment.stop) && start >= segment.stop) return GST_FLOW_EOS;
  if (isBackwards && start < segment.start) return GST_FLOW_EOS;

  const GstClockTime streamTime = gst_segment_to_stream_time(&segment, GST_FORMAT_TIME, start);
  gst_object_sync_values(GST_OBJECT(push), streamTime);
  const ZQBufferRef picture = source.core->scene().picture(requestFor(source, streamTime),
                                                           std::chrono::nanoseconds(end - start));
  tellOfMissed(source, missedBefore, start, end);
  followSize(source, picture);
  if (!source.core->transfer().toPipeline(picture, buffer, source.parent.out_info)) {
    GST_ELEMENT_ERROR(push, RESOURCE, WRITE, ("The picture can't be drawn into the pipeline's."),
                      (nullptr));
    return GST_FLOW_ERROR;
  }
  GST_BUFFER_PTS(buffer) = start;
  GST_BUFFER_DTS(buffer) = GST_CLOCK_TIME_NONE;
  GST_BUFFER_DURATION(buffer) = end - start;
  GST_BUFFER_OFFSET(buffer) = static_cast<guint64>(source.frame);
  GST_BUFFER_OFFSET_END(buffer) = static_cast<guint64>(source.frame) + 1;
  source.frame += isBackwards ? -1 : 1;
  return GST_FLOW_OK;
}

// --- life

/// The size of the pictures whose size nobody can choose is that of the first one.
void learnSize(Source& source) {
  source.ownSize = {};
  if (choosesSize(*source.core->scene().description())) return;
  VuoFrameRequest first;
  first.time = 0;
  const ZQBufferRef picture = source.core->scene().picture(first, std::chrono::seconds(5));
  source.ownSize = picture ? picture->size() : ZQSize{640, 360};
}

gboolean start(GstBaseSrc* base) {
  Source& source = *sourceOf(base);
  source.frame = 0;
  source.anchor = 0;
  source.made = source.missed = 0;
  gst_video_info_init(&source.parent.out_info);
  if (!source.core->start(gst_base_src_is_live(base))) return FALSE;
  if (source.core->scene().description()->conformsToVuoProtocol(ZQVuoProtocol_ImageFilter)) {
    GST_ELEMENT_ERROR(base, RESOURCE, SETTINGS,
                      ("The composition is a filter: brannowfilter gives it its input \"image\"."),
                      (nullptr));
    source.core->stop();
    return FALSE;
  }
  learnSize(source);
  return GST_BASE_SRC_CLASS(parentClass)->start(base);
}

gboolean stop(GstBaseSrc* base) {
  coreOf(base).stop();
  return GST_BASE_SRC_CLASS(parentClass)->stop(base);
}

void setUnlocked(Source& source, bool isUnlocked) {
  source.core->scene().setInterrupted(isUnlocked);
  GST_OBJECT_LOCK(&source);
  source.isUnlocked = isUnlocked;
  if (isUnlocked && source.wait) gst_clock_id_unschedule(source.wait);
  GST_OBJECT_UNLOCK(&source);
}

gboolean unlock(GstBaseSrc* base) {
  setUnlocked(*sourceOf(base), true);
  return TRUE;
}

gboolean unlockStop(GstBaseSrc* base) {
  setUnlocked(*sourceOf(base), false);
  return TRUE;
}

gboolean query(GstBaseSrc* base, GstQuery* query) {
  if (GST_QUERY_TYPE(query) == GST_QUERY_CONTEXT && coreOf(base).answerContext(query)) return TRUE;
  if (GST_QUERY_TYPE(query) == GST_QUERY_LATENCY && gst_base_src_is_live(base) &&
      sourceOf(base)->parent.out_info.fps_n > 0) {
    // A picture is waited for no longer than it lasts.
    gst_query_set_latency(query, TRUE, frameDuration(sourceOf(base)->parent.out_info),
                          GST_CLOCK_TIME_NONE);
    return TRUE;
  }
  return GST_BASE_SRC_CLASS(parentClass)->query(base, query);
}

GstStateChangeReturn changeState(GstElement* element, GstStateChange change) {
  if (change == GST_STATE_CHANGE_NULL_TO_READY) coreOf(element).joinDisplay();
  const auto result = GST_ELEMENT_CLASS(parentClass)->change_state(element, change);
  if (change == GST_STATE_CHANGE_READY_TO_NULL) coreOf(element).forgetDisplay();
  return result;
}

void setContext(GstElement* element, GstContext* context) {
  coreOf(element).takeContext(context);
  GST_ELEMENT_CLASS(parentClass)->set_context(element, context);
}

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* spec) {
  if (id == kIsLive) {
    gst_base_src_set_live(GST_BASE_SRC(object), g_value_get_boolean(value));
  } else if (id == kWallClock) {
    __atomic_store_n(&sourceOf(object)->hasWallClock, g_value_get_boolean(value) != FALSE,
                     __ATOMIC_RELAXED);
  } else if (!coreOf(object).setProperty(id, *value)) {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  if (id == kIsLive) {
    g_value_set_boolean(value, gst_base_src_is_live(GST_BASE_SRC(object)));
  } else if (id == kWallClock) {
    g_value_set_boolean(value, __atomic_load_n(&sourceOf(object)->hasWallClock, __ATOMIC_RELAXED));
  } else if (!coreOf(object).getProperty(id, *value)) {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

void finalize(GObject* object) {
  delete sourceOf(object)->core;
  G_OBJECT_CLASS(parentClass)->finalize(object);
}

void initInstance(GTypeInstance* instance, gpointer klass) {
  Source& source = *sourceOf(instance);
  source.core = new ElementCore(GST_ELEMENT(instance), static_cast<SourceClass*>(klass)->kind);
  gst_base_src_set_format(GST_BASE_SRC(instance), GST_FORMAT_TIME);
  gst_base_src_set_live(GST_BASE_SRC(instance), FALSE);
}

void initClass(gpointer data, gpointer kindOfClass) {
  const auto* kind = static_cast<const ElementKind*>(kindOfClass);
  auto* klass = static_cast<SourceClass*>(data);
  klass->kind = kind;
  parentClass = GST_GL_BASE_SRC_CLASS(g_type_class_peek_parent(klass));
  klass->parent.supported_gl_api =
      static_cast<GstGLAPI>(GST_GL_API_OPENGL | GST_GL_API_OPENGL3 | GST_GL_API_GLES2);

  auto* object = G_OBJECT_CLASS(klass);
  object->set_property = setProperty;
  object->get_property = getProperty;
  object->finalize = finalize;
  constexpr auto kFlags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);
  g_object_class_install_property(
      object, kIsLive,
      g_param_spec_boolean("is-live", "Is live",
                           "Makes each picture at its moment by the pipeline's clock and leaves "
                           "out those that come too late",
                           FALSE, static_cast<GParamFlags>(kFlags | GST_PARAM_MUTABLE_READY)));
  g_object_class_install_property(
      object, kWallClock,
      g_param_spec_boolean("wall-clock", "Wall clock",
                           "The composition's time is that since it was loaded, by the clock on "
                           "the wall, and not the stream's",
                           FALSE, static_cast<GParamFlags>(kFlags | GST_PARAM_MUTABLE_PLAYING)));
  ElementCore::installProperties(object, *kind);

  auto* element = GST_ELEMENT_CLASS(klass);
  element->change_state = changeState;
  element->set_context = setContext;
  gst_element_class_set_metadata(element, kind->title.c_str(), "Source/Video",
                                 kind->description.c_str(), "The Brannow authors");
  GstCaps* caps = gst_caps_from_string(BRANNOW_GL_CAPS);
  gst_element_class_add_pad_template(
      element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
  gst_caps_unref(caps);

  auto* base = GST_BASE_SRC_CLASS(klass);
  base->start = start;
  base->stop = stop;
  base->unlock = unlock;
  base->unlock_stop = unlockStop;
  base->fixate = fixate;
  base->set_caps = setCaps;
  base->do_seek = doSeek;
  base->is_seekable = isSeekable;
  base->get_times = getTimes;
  base->query = query;
  GST_PUSH_SRC_CLASS(klass)->fill = fill;
}

}  // namespace

bool registerSource(GstPlugin* plugin, const ElementKind& kind) {
  GTypeInfo type = {};
  type.class_size = sizeof(SourceClass);
  type.class_init = initClass;
  type.instance_size = sizeof(Source);
  type.instance_init = initInstance;
  return registerElement(plugin, kind, GST_TYPE_GL_BASE_SRC, type);
}
