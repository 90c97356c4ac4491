#include "gstreamer/ElementCore.h"

#include "gstreamer/Elements.h"
#include "gstreamer/PipelineDisplay.h"

GType brannow_process_get_type() {
  static const GType type = [] {
    static const GEnumValue values[] = {
        {0, "In a process of its own, whose end the pipeline survives", "separate"},
        {1, "Inside the pipeline's process", "inside"},
        {0, nullptr, nullptr}};
    return g_enum_register_static("BrannowProcess", values);
  }();
  return type;
}

ElementCore::ElementCore(GstElement* element, const ElementKind* kind)
    : _element(element),
      _kind(kind),
      _scene([element](const std::string& text) {
        GST_ELEMENT_WARNING(element, RESOURCE, FAILED, ("%s", text.c_str()), (nullptr));
      }),
      _location(kind->file) {}

void ElementCore::installProperties(GObjectClass* klass, const ElementKind& kind) {
  constexpr auto kFlags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                                   GST_PARAM_MUTABLE_READY);
  if (kind.file.empty())
    g_object_class_install_property(
        klass, kLocation,
        g_param_spec_string("location", "Location", "The composition's file (.vuo)", nullptr,
                            kFlags));
  g_object_class_install_property(
      klass, kProcess,
      g_param_spec_enum("process", "Process", "Where the composition runs",
                        brannow_process_get_type(), 0, kFlags));
  if (kind.properties) kind.properties->install(klass, kFirstPublished);
}

std::shared_ptr<const ZQVuoPortValue> ElementCore::held(
    const PublishedProperties::Property& property) {
  const std::string& name = property.port->portName();
  auto value = property.isOutput ? _scene.output(name) : _scene.input(name);
  return value || property.isOutput ? value : property.port->defaultVal();
}

bool ElementCore::setProperty(guint id, const GValue& value) {
  if (id == kLocation || id == kProcess) {
    if (GST_STATE(_element) > GST_STATE_READY)
      GST_ELEMENT_WARNING(_element, RESOURCE, BUSY,
                          ("The composition is running: location and process count when the "
                           "element is started again."),
                          (nullptr));
    platform::LockGuard hold(_lock);
    if (id == kProcess) {
      _isInProcess = g_value_get_enum(&value) != 0;
    } else {
      const char* text = g_value_get_string(&value);
      _location = text ? text : "";
    }
    return true;
  }
  const auto* property = _kind->properties ? _kind->properties->property(id) : nullptr;
  if (!property) return false;
  _scene.setInput(property->port->portName(),
                  PublishedProperties::changed(*property, held(*property), value));
  return true;
}

bool ElementCore::getProperty(guint id, GValue& value) {
  if (id == kLocation || id == kProcess) {
    platform::LockGuard hold(_lock);
    if (id == kProcess)
      g_value_set_enum(&value, _isInProcess ? 1 : 0);
    else
      g_value_set_string(&value, _location.c_str());
    return true;
  }
  const auto* property = _kind->properties ? _kind->properties->property(id) : nullptr;
  if (!property) return false;
  PublishedProperties::read(*property, held(*property), value);
  return true;
}

void ElementCore::findDisplay() {
  if (!_display)  // the application may have one
    gst_element_post_message(
        _element, gst_message_new_need_context(GST_OBJECT(_element), GST_GL_DISPLAY_CONTEXT_TYPE));
  GstGLDisplay* ours = _display ? nullptr : pipeline_display::thatShares();
  if (!ours) return;
  GstContext* context = gst_context_new(GST_GL_DISPLAY_CONTEXT_TYPE, TRUE);
  gst_context_set_gl_display(context, ours);
  gst_object_unref(ours);
  gst_element_set_context(_element, context);
  if (_display) joinContext();  // before the neighbour that asks makes one that shares nothing
  gst_element_post_message(_element, gst_message_new_have_context(GST_OBJECT(_element), context));
}

void ElementCore::joinContext() {
  gst_clear_object(&_context);
  _context = pipeline_display::join(_display, _application);
}

bool ElementCore::answerContext(GstQuery* query) {
  const char* wanted = nullptr;
  if (!gst_query_parse_context_type(query, &wanted)) return false;
  if (g_strcmp0(wanted, GST_GL_DISPLAY_CONTEXT_TYPE) == 0) findDisplay();
  return gst_gl_handle_context_query(_element, query, _display, _context, _application);
}

void ElementCore::takeContext(GstContext* context) {
  gst_gl_handle_set_context(_element, context, &_display, &_application);
}

void ElementCore::joinDisplay() {
  findDisplay();
  if (gst_gl_ensure_element_data(_element, &_display, &_application)) joinContext();
}

void ElementCore::forgetDisplay() {
  gst_clear_object(&_context);
  gst_clear_object(&_application);
  gst_clear_object(&_display);
}

bool ElementCore::start(bool isLive) {
  HostedScene::Settings settings;
  settings.isLive = isLive;
  {
    platform::LockGuard hold(_lock);
    settings.file = _location;
    settings.isInProcess = _isInProcess;
  }
  if (settings.file.empty()) {
    GST_ELEMENT_ERROR(_element, RESOURCE, NOT_FOUND, ("No composition is named."),
                      ("The property location is not set."));
    return false;
  }
  std::string problem;
  if (_scene.start(settings, problem)) return true;
  GST_ELEMENT_ERROR(_element, RESOURCE, OPEN_READ, ("%s", problem.c_str()),
                    ("%s", settings.file.c_str()));
  return false;
}

void ElementCore::stop() {
  _scene.stop();
  _transfer.end();
}

void ElementCore::use(GstGLContext* context) {
  _transfer.begin(context);
  static const GQuark hasBeenTold = g_quark_from_static_string("brannow-pixels");
  if (_transfer.isShared() || g_object_get_qdata(G_OBJECT(context), hasBeenTold)) return;
  g_object_set_qdata(G_OBJECT(context), hasBeenTold, GINT_TO_POINTER(1));
  GST_ELEMENT_WARNING(_element, RESOURCE, SETTINGS,
                      ("The pipeline's GL context can't share textures with compositions: pictures "
                       "are copied as pixels."),
                      (nullptr));
}

bool registerElement(GstPlugin* plugin, const ElementKind& kind, GType parent, GTypeInfo type) {
  const std::string name = "Gst" + kind.name;
  if (g_type_from_name(name.c_str()) != 0) return false;
  type.class_data = new ElementKind(kind);  // as long as the type: for ever
  const GType made = g_type_register_static(parent, name.c_str(), &type, {});
  return gst_element_register(plugin, kind.name.c_str(), GST_RANK_NONE, made);
}
