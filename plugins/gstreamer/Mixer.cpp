// A composition with several input pictures: a sink pad for each, by the input's name.
#include <gst/gl/gl.h>
#include <gst/video/gstvideoaggregator.h>

#include <memory>
#include <utility>

#include "gstreamer/Elements.h"

namespace {

struct Mixer {
  GstVideoAggregator parent;
  ElementCore* core;
};

struct MixerClass {
  GstVideoAggregatorClass parent;
  const ElementKind* kind;
};

GstVideoAggregatorClass* parentClass = nullptr;  // the same for every kind

ElementCore& coreOf(gpointer object) {
  return *static_cast<Mixer*>(object)->core;
}

// --- pads, whose pictures stay on the GPU

gboolean leaveFrame(GstVideoAggregatorPad*, GstVideoAggregator*, GstBuffer*, GstVideoFrame*) {
  return TRUE;
}

GType padType() {
  static const GType type = [] {
    GTypeInfo info = {};
    info.class_size = sizeof(GstVideoAggregatorPadClass);
    info.class_init = [](gpointer klass, gpointer) {
      auto* pad = GST_VIDEO_AGGREGATOR_PAD_CLASS(klass);
      pad->prepare_frame = leaveFrame;
      pad->clean_frame = nullptr;
    };
    info.instance_size = sizeof(GstVideoAggregatorPad);
    return g_type_register_static(GST_TYPE_VIDEO_AGGREGATOR_PAD, "GstBrannowPad", &info, {});
  }();
  return type;
}

GstAggregatorPad* createPad(GstAggregator* aggregator, GstPadTemplate* pattern, const gchar*,
                            const GstCaps*) {
  const char* name = GST_PAD_TEMPLATE_NAME_TEMPLATE(pattern);
  if (GstPad* there = gst_element_get_static_pad(GST_ELEMENT(aggregator), name)) {
    gst_object_unref(there);
    return nullptr;
  }
  return GST_AGGREGATOR_PAD(g_object_new(padType(), "name", name, "direction", GST_PAD_SINK,
                                         "template", pattern, nullptr));
}

// --- pictures

GstCaps* updateCaps(GstVideoAggregator*, GstCaps* caps) {
  return gst_caps_ref(caps);
}

gboolean decideAllocation(GstAggregator* aggregator, GstQuery* query) {
  GstCaps* caps = nullptr;
  gst_query_parse_allocation(query, &caps, nullptr);
  GstVideoInfo info;
  GstGLContext* context = coreOf(aggregator).context();
  if (!context || !caps || !gst_video_info_from_caps(&info, caps)) return FALSE;
  GstBufferPool* pool = gst_gl_buffer_pool_new(context);
  GstStructure* config = gst_buffer_pool_get_config(pool);
  const auto size = static_cast<guint>(GST_VIDEO_INFO_SIZE(&info));
  gst_buffer_pool_config_set_params(config, caps, size, 0, 0);
  gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_VIDEO_META);
  gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_GL_SYNC_META);
  const bool isSet = gst_buffer_pool_set_config(pool, config);
  if (gst_query_get_n_allocation_pools(query) > 0)
    gst_query_set_nth_allocation_pool(query, 0, pool, size, 0, 0);
  else
    gst_query_add_allocation_pool(query, pool, size, 0, 0);
  gst_object_unref(pool);
  return isSet;
}

gboolean proposeAllocation(GstAggregator*, GstAggregatorPad*, GstQuery*, GstQuery*) {
  return TRUE;  // neighbours have pools of their own for GL memory
}

/// Takes the current picture of the pad into the request. False when it can't be read.
bool addPicture(Mixer& mixer, GstVideoAggregatorPad* pad, VuoFrameRequest& request) {
  GstBuffer* buffer = gst_video_aggregator_pad_get_current_buffer(pad);
  if (!buffer) return true;  // it has not begun, or has ended: its last picture stays
  ZQBufferRef picture = mixer.core->transfer().fromPipeline(buffer, pad->info);
  if (!picture) return false;
  const std::string name = GST_PAD_NAME(pad);
  const auto image = mixer.core->scene().description()->runnerImageInputPort();
  if (image && image->portName() == name)
    request.image = std::move(picture);
  else
    request.images[name] = std::move(picture);
  return true;
}

/// No lock is held meanwhile, since that waits for the GPU.
bool addPictures(Mixer& mixer, VuoFrameRequest& request) {
  return gst_element_foreach_sink_pad(
      GST_ELEMENT(&mixer),
      [](GstElement* element, GstPad* pad, gpointer data) -> gboolean {
        return addPicture(*reinterpret_cast<Mixer*>(element), GST_VIDEO_AGGREGATOR_PAD(pad),
                          *static_cast<VuoFrameRequest*>(data));
      },
      &request);
}

GstFlowReturn aggregateFrames(GstVideoAggregator* aggregator, GstBuffer* out) {
  Mixer& mixer = *reinterpret_cast<Mixer*>(aggregator);
  mixer.core->use(mixer.core->context());
  const GstSegment& segment = GST_AGGREGATOR_PAD(GST_AGGREGATOR(aggregator)->srcpad)->segment;
  const GstClockTime time =
      gst_segment_to_stream_time(&segment, GST_FORMAT_TIME, GST_BUFFER_PTS(out));
  VuoFrameRequest request;
  if (GST_CLOCK_TIME_IS_VALID(time)) {
    gst_object_sync_values(GST_OBJECT(aggregator), time);
    request.time = static_cast<double>(time) / GST_SECOND;
  }
  const auto composition = mixer.core->scene().description();
  if (composition->runnerWidthPort() && composition->runnerHeightPort())
    request.size = {static_cast<double>(aggregator->info.width),
                    static_cast<double>(aggregator->info.height)};
  if (!addPictures(mixer, request)) {
    GST_ELEMENT_ERROR(aggregator, RESOURCE, READ, ("The pipeline's picture can't be read."),
                      (nullptr));
    return GST_FLOW_ERROR;
  }
  const ZQBufferRef picture = mixer.core->scene().picture(
      std::move(request), std::chrono::nanoseconds(GST_BUFFER_DURATION(out)));
  return mixer.core->transfer().toPipeline(picture, out, aggregator->info) ? GST_FLOW_OK
                                                                           : GST_FLOW_ERROR;
}

// --- life

bool isUpstreamLive(GstElement* element) {
  gboolean isAnyLive = FALSE;
  gst_element_foreach_sink_pad(
      element,
      [](GstElement*, GstPad* pad, gpointer result) -> gboolean {
        auto* isLive = static_cast<gboolean*>(result);
        GstQuery* latency = gst_query_new_latency();
        if (gst_pad_peer_query(pad, latency))
          gst_query_parse_latency(latency, isLive, nullptr, nullptr);
        gst_query_unref(latency);
        return !*isLive;
      },
      &isAnyLive);
  return isAnyLive;
}

gboolean start(GstAggregator* aggregator) {
  coreOf(aggregator).scene().setInterrupted(false);
  return coreOf(aggregator).start(isUpstreamLive(GST_ELEMENT(aggregator))) &&
         GST_AGGREGATOR_CLASS(parentClass)->start(aggregator);
}

gboolean stop(GstAggregator* aggregator) {
  coreOf(aggregator).stop();
  return GST_AGGREGATOR_CLASS(parentClass)->stop(aggregator);
}

gboolean sinkQuery(GstAggregator* aggregator, GstAggregatorPad* pad, GstQuery* query) {
  if (GST_QUERY_TYPE(query) == GST_QUERY_CONTEXT && coreOf(aggregator).answerContext(query))
    return TRUE;
  return GST_AGGREGATOR_CLASS(parentClass)->sink_query(aggregator, pad, query);
}

gboolean srcQuery(GstAggregator* aggregator, GstQuery* query) {
  if (GST_QUERY_TYPE(query) == GST_QUERY_CONTEXT && coreOf(aggregator).answerContext(query))
    return TRUE;
  return GST_AGGREGATOR_CLASS(parentClass)->src_query(aggregator, query);
}

GstStateChangeReturn changeState(GstElement* element, GstStateChange change) {
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) coreOf(element).scene().setInterrupted(true);
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
  if (!coreOf(object).setProperty(id, *value)) G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  if (!coreOf(object).getProperty(id, *value)) G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
}

void finalize(GObject* object) {
  delete static_cast<Mixer*>(static_cast<gpointer>(object))->core;
  G_OBJECT_CLASS(parentClass)->finalize(object);
}

void initInstance(GTypeInstance* instance, gpointer klass) {
  static_cast<Mixer*>(static_cast<gpointer>(instance))->core =
      new ElementCore(GST_ELEMENT(instance), static_cast<MixerClass*>(klass)->kind);
}

void addTemplate(GstElementClass* element, const char* name, GstPadDirection direction,
                 GType type) {
  GstCaps* caps = gst_caps_from_string(BRANNOW_GL_CAPS);
  const auto presence = direction == GST_PAD_SRC ? GST_PAD_ALWAYS : GST_PAD_REQUEST;
  gst_element_class_add_pad_template(
      element, gst_pad_template_new_with_gtype(name, direction, presence, caps, type));
  gst_caps_unref(caps);
}

void initClass(gpointer data, gpointer kindOfClass) {
  const auto* kind = static_cast<const ElementKind*>(kindOfClass);
  auto* klass = static_cast<MixerClass*>(data);
  klass->kind = kind;
  parentClass = GST_VIDEO_AGGREGATOR_CLASS(g_type_class_peek_parent(klass));

  auto* object = G_OBJECT_CLASS(klass);
  object->set_property = setProperty;
  object->get_property = getProperty;
  object->finalize = finalize;
  ElementCore::installProperties(object, *kind);

  auto* element = GST_ELEMENT_CLASS(klass);
  element->change_state = changeState;
  element->set_context = setContext;
  gst_element_class_set_metadata(element, kind->title.c_str(), "Filter/Editor/Video/Compositor",
                                 kind->description.c_str(), "The Brannow authors");
  addTemplate(element, "src", GST_PAD_SRC, GST_TYPE_AGGREGATOR_PAD);
  for (const std::string& image : kind->images)
    addTemplate(element, image.c_str(), GST_PAD_SINK, padType());

  auto* aggregator = GST_AGGREGATOR_CLASS(klass);
  aggregator->create_new_pad = createPad;
  aggregator->decide_allocation = decideAllocation;
  aggregator->propose_allocation = proposeAllocation;
  aggregator->start = start;
  aggregator->stop = stop;
  aggregator->sink_query = sinkQuery;
  aggregator->src_query = srcQuery;
  klass->parent.update_caps = updateCaps;
  klass->parent.aggregate_frames = aggregateFrames;
}

}  // namespace

bool registerMixer(GstPlugin* plugin, const ElementKind& kind) {
  GTypeInfo type = {};
  type.class_size = sizeof(MixerClass);
  type.class_init = initClass;
  type.instance_size = sizeof(Mixer);
  type.instance_init = initInstance;
  return registerElement(plugin, kind, GST_TYPE_VIDEO_AGGREGATOR, type);
}
