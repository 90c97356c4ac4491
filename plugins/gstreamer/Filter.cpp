// A filter of pictures: brannowfilter, and one for each filter among the known compositions.
#include <gst/gl/gl.h>

#include <memory>

#include "gstreamer/Elements.h"

namespace {

struct Filter {
  GstGLFilter parent;
  ElementCore* core;
  bool isLive;  // of the streaming thread
};

struct FilterClass {
  GstGLFilterClass parent;
  const ElementKind* kind;
};

GstGLFilterClass* parentClass = nullptr;  // the same for every kind

Filter* filterOf(gpointer object) {
  return static_cast<Filter*>(object);
}

ElementCore& coreOf(gpointer object) {
  return *filterOf(object)->core;
}

bool isUpstreamLive(GstBaseTransform* base) {
  GstQuery* latency = gst_query_new_latency();
  gboolean isLive = FALSE;
  if (gst_pad_peer_query(base->sinkpad, latency))
    gst_query_parse_latency(latency, &isLive, nullptr, nullptr);
  gst_query_unref(latency);
  return isLive;
}

/// Only a show leaves out what comes too late.
gboolean setCaps(GstGLFilter* gl, GstCaps*, GstCaps*) {
  gst_base_transform_set_qos_enabled(GST_BASE_TRANSFORM(gl), filterOf(gl)->isLive);
  return TRUE;
}

VuoFrameRequest requestFor(Filter& filter, GstBuffer* in, ZQBufferRef image) {
  GstBaseTransform* base = GST_BASE_TRANSFORM(&filter);
  const GstClockTime time =
      gst_segment_to_stream_time(&base->segment, GST_FORMAT_TIME, GST_BUFFER_PTS(in));
  VuoFrameRequest request;
  if (GST_CLOCK_TIME_IS_VALID(time)) {
    gst_object_sync_values(GST_OBJECT(&filter), time);
    request.time = static_cast<double>(time) / GST_SECOND;
  }
  const auto composition = filter.core->scene().description();
  if (composition->runnerWidthPort() && composition->runnerHeightPort())
    request.size = {static_cast<double>(filter.parent.out_info.width),
                    static_cast<double>(filter.parent.out_info.height)};
  request.image = std::move(image);
  return request;
}

/// The base class insists on one.
gboolean neverCalled(GstGLFilter*, GstGLMemory*, GstGLMemory*) {
  return FALSE;
}

/// In the place of the base class's, which would have all of it done on the context's thread.
GstFlowReturn transform(GstBaseTransform* base, GstBuffer* in, GstBuffer* out) {
  GstGLFilter* gl = GST_GL_FILTER(base);
  Filter& filter = *filterOf(base);
  if (!GST_GL_BASE_FILTER(gl)->context) return GST_FLOW_NOT_NEGOTIATED;
  auto& transfer = filter.core->transfer();
  filter.core->use(GST_GL_BASE_FILTER(gl)->context);
  ZQBufferRef image = transfer.fromPipeline(in, gl->in_info);
  if (!image) {
    GST_ELEMENT_ERROR(gl, RESOURCE, READ, ("The pipeline's picture can't be read."), (nullptr));
    return GST_FLOW_ERROR;
  }
  const std::chrono::nanoseconds longest(GST_BUFFER_DURATION_IS_VALID(in) ? GST_BUFFER_DURATION(in)
                                                                          : GST_SECOND / 30);
  ZQBufferRef picture = filter.core->scene().picture(requestFor(filter, in, image), longest);
  if (!picture) picture = image;  // nothing has come yet
  if (transfer.toPipeline(picture, out, gl->out_info)) return GST_FLOW_OK;
  GST_ELEMENT_ERROR(gl, RESOURCE, WRITE, ("The picture can't be drawn into the pipeline's."),
                    (nullptr));
  return GST_FLOW_ERROR;
}

// --- life

gboolean start(GstBaseTransform* base) {
  Filter& filter = *filterOf(base);
  filter.core->scene().setInterrupted(false);
  filter.isLive = isUpstreamLive(base);
  if (!filter.core->start(filter.isLive)) return FALSE;
  if (!filter.core->scene().description()->conformsToVuoProtocol(ZQVuoProtocol_ImageFilter)) {
    GST_ELEMENT_ERROR(base, RESOURCE, SETTINGS,
                      ("The composition is no filter: it publishes no input \"image\"."),
                      (nullptr));
    filter.core->stop();
    return FALSE;
  }
  return GST_BASE_TRANSFORM_CLASS(parentClass)->start(base);
}

gboolean stop(GstBaseTransform* base) {
  coreOf(base).stop();
  return GST_BASE_TRANSFORM_CLASS(parentClass)->stop(base);
}

/// A flush or the end of a pad's life ends the wait for a picture.
gboolean sinkEvent(GstBaseTransform* base, GstEvent* event) {
  if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_START) coreOf(base).scene().setInterrupted(true);
  if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP) coreOf(base).scene().setInterrupted(false);
  return GST_BASE_TRANSFORM_CLASS(parentClass)->sink_event(base, event);
}

gboolean query(GstBaseTransform* base, GstPadDirection direction, GstQuery* query) {
  if (GST_QUERY_TYPE(query) == GST_QUERY_CONTEXT && coreOf(base).answerContext(query)) return TRUE;
  return GST_BASE_TRANSFORM_CLASS(parentClass)->query(base, direction, query);
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
  delete filterOf(object)->core;
  G_OBJECT_CLASS(parentClass)->finalize(object);
}

void initInstance(GTypeInstance* instance, gpointer klass) {
  filterOf(instance)->core =
      new ElementCore(GST_ELEMENT(instance), static_cast<FilterClass*>(klass)->kind);
}

void initClass(gpointer data, gpointer kindOfClass) {
  const auto* kind = static_cast<const ElementKind*>(kindOfClass);
  auto* klass = static_cast<FilterClass*>(data);
  klass->kind = kind;
  parentClass = GST_GL_FILTER_CLASS(g_type_class_peek_parent(klass));
  GST_GL_BASE_FILTER_CLASS(klass)->supported_gl_api =
      static_cast<GstGLAPI>(GST_GL_API_OPENGL | GST_GL_API_OPENGL3 | GST_GL_API_GLES2);

  auto* object = G_OBJECT_CLASS(klass);
  object->set_property = setProperty;
  object->get_property = getProperty;
  object->finalize = finalize;
  ElementCore::installProperties(object, *kind);

  auto* element = GST_ELEMENT_CLASS(klass);
  element->change_state = changeState;
  element->set_context = setContext;
  gst_element_class_set_metadata(element, kind->title.c_str(), "Filter/Effect/Video",
                                 kind->description.c_str(), "The Brannow authors");
  gst_gl_filter_add_rgba_pad_templates(&klass->parent);

  auto* base = GST_BASE_TRANSFORM_CLASS(klass);
  base->start = start;
  base->stop = stop;
  base->sink_event = sinkEvent;
  base->query = query;
  base->transform = transform;
  klass->parent.set_caps = setCaps;
  klass->parent.filter_texture = neverCalled;
}

}  // namespace

bool registerFilter(GstPlugin* plugin, const ElementKind& kind) {
  GTypeInfo type = {};
  type.class_size = sizeof(FilterClass);
  type.class_init = initClass;
  type.instance_size = sizeof(Filter);
  type.instance_init = initInstance;
  return registerElement(plugin, kind, GST_TYPE_GL_FILTER, type);
}
