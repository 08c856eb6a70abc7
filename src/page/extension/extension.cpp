// Runs inside each web process. Gives the browser's "quillo" script world a
// way to talk to the browser that names the sending frame, and lets the
// browser run a script in any frame, cross-origin ones included.
#include <webkit/webkit-web-process-extension.h>

#include <memory>
#include <string>
#include <unordered_map>

#include "protocol.h"

namespace {

WebKitWebProcessExtension* theExtension = nullptr;
WebKitScriptWorld* quilloWorld = nullptr;

struct KnownFrame {
  WebKitFrame* frame;  // not owned: a weak reference prunes the entry
  guint64 pageID;
};
std::unordered_map<guint64, KnownFrame> frames;

void sendToView(guint64 pageID, const char* name, GVariant* parameters) {
  WebKitWebPage* page = webkit_web_process_extension_get_page(theExtension, pageID);
  if (!page) {
    g_variant_unref(g_variant_ref_sink(parameters));
    return;
  }
  webkit_web_page_send_message_to_view(page, webkit_user_message_new(name, parameters), nullptr, nullptr, nullptr);
}

void forgetFrame(gpointer data, GObject*) {
  auto id = static_cast<guint64>(GPOINTER_TO_SIZE(data));
  auto found = frames.find(id);
  if (found == frames.end()) return;
  guint64 pageID = found->second.pageID;
  frames.erase(found);
  sendToView(pageID, quillo::extension::kFrameGone, g_variant_new("(t)", id));
}

// Tells the view which document each frame shows, so it can tell whether a
// frame of another origin is on the page (dialogs don't say who asked).
void frameCleared(WebKitScriptWorld*, WebKitWebPage* page, WebKitFrame* frame, gpointer);

void remember(WebKitWebPage* page, WebKitFrame* frame) {
  guint64 id = webkit_frame_get_id(frame);
  if (frames.count(id)) return;
  frames[id] = {frame, webkit_web_page_get_id(page)};
  g_object_weak_ref(G_OBJECT(frame), forgetFrame, GSIZE_TO_POINTER(static_cast<gsize>(id)));
}

struct PostTarget {
  guint64 pageID;
  guint64 frameID;
};

// What quillo.post and quillo.ask send: the name, the frame and its address
// (read here, so a page cannot claim another frame) and the payload. None
// when the script gave a bad name or payload (it then sees an exception) or
// the frame or page is going away.
WebKitUserMessage* frameMessage(const char* kind, JSCValue* name, JSCValue* payload, const PostTarget& target,
                                WebKitWebPage*& page) {
  JSCContext* context = jsc_value_get_context(name);
  if (!jsc_value_is_string(name)) {
    jsc_context_throw(context, "quillo: the message name must be a string");
    return nullptr;
  }
  auto found = frames.find(target.frameID);
  page = webkit_web_process_extension_get_page(theExtension, target.pageID);
  if (found == frames.end() || !page) return nullptr;

  char* nameText = jsc_value_to_string(name);
  char* json = jsc_value_is_undefined(payload) ? nullptr : jsc_value_to_json(payload, 0);
  WebKitUserMessage* message = nullptr;
  if (!jsc_context_get_exception(context)) {  // e.g. a cyclic payload; the caller sees the exception
    const char* uri = webkit_frame_get_uri(found->second.frame);
    message = webkit_user_message_new(
        kind, g_variant_new("(stsbs)", nameText, target.frameID, uri ? uri : "",
                            webkit_frame_is_main_frame(found->second.frame), json ? json : "null"));
  }
  g_free(nameText);
  g_free(json);
  return message;
}

// quillo.post(name, payload) in the "quillo" world.
void post(JSCValue* name, JSCValue* payload, gpointer data) {
  WebKitWebPage* page = nullptr;
  if (WebKitUserMessage* message =
          frameMessage(quillo::extension::kPost, name, payload, *static_cast<PostTarget*>(data), page))
    webkit_web_page_send_message_to_view(page, message, nullptr, nullptr, nullptr);
}

// A quillo.ask waiting for the browser's answer. It holds the callback, so
// the page's script cannot make it go away first.
struct Asking {
  guint64 frameID;
  JSCValue* callback;
  ~Asking() { g_clear_object(&callback); }
};

void answered(GObject* source, GAsyncResult* result, gpointer data) {
  std::unique_ptr<Asking> asking(static_cast<Asking*>(data));
  GError* error = nullptr;
  WebKitUserMessage* reply = webkit_web_page_send_message_to_view_finish(WEBKIT_WEB_PAGE(source), result, &error);
  g_clear_error(&error);
  const char* json = "null";  // no answer, or a malformed one
  if (GVariant* parameters = reply ? webkit_user_message_get_parameters(reply) : nullptr;
      parameters && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(s)")))
    g_variant_get(parameters, "(&s)", &json);
  // A frame that went away meanwhile hears nothing.
  if (asking->callback && frames.count(asking->frameID)) {
    JSCContext* context = jsc_value_get_context(asking->callback);
    JSCValue* value = jsc_value_new_from_json(context, json);
    if (!value || jsc_context_get_exception(context)) {
      jsc_context_clear_exception(context);
      g_clear_object(&value);
      value = jsc_value_new_null(context);
    }
    JSCValue* returned = jsc_value_function_call(asking->callback, JSC_TYPE_VALUE, value, G_TYPE_NONE);
    jsc_context_clear_exception(context);  // the callback's own failure is the page's business
    g_clear_object(&returned);
    g_object_unref(value);
  }
  g_clear_object(&reply);
}

// quillo.ask(name, payload, callback) in the "quillo" world: the callback
// gets the browser's answer, or null when there is none.
void ask(JSCValue* name, JSCValue* payload, JSCValue* callback, gpointer data) {
  auto* target = static_cast<PostTarget*>(data);
  WebKitWebPage* page = nullptr;
  WebKitUserMessage* message = frameMessage(quillo::extension::kAsk, name, payload, *target, page);
  if (!message) return;
  auto* asking =
      new Asking{target->frameID, jsc_value_is_function(callback) ? JSC_VALUE(g_object_ref(callback)) : nullptr};
  webkit_web_page_send_message_to_view(page, message, nullptr, answered, asking);
}

void installPost(WebKitScriptWorld* world, WebKitWebPage* page, WebKitFrame* frame) {
  remember(page, frame);
  JSCContext* context = webkit_frame_get_js_context_for_script_world(frame, world);
  auto* target = new PostTarget{webkit_web_page_get_id(page), webkit_frame_get_id(frame)};
  JSCValue* function = jsc_value_new_function(
      context, "post", G_CALLBACK(post), target, [](gpointer data) { delete static_cast<PostTarget*>(data); },
      G_TYPE_NONE, 2, JSC_TYPE_VALUE, JSC_TYPE_VALUE);
  auto* askTarget = new PostTarget(*target);
  JSCValue* askFunction = jsc_value_new_function(
      context, "ask", G_CALLBACK(ask), askTarget, [](gpointer data) { delete static_cast<PostTarget*>(data); },
      G_TYPE_NONE, 3, JSC_TYPE_VALUE, JSC_TYPE_VALUE, JSC_TYPE_VALUE);
  JSCValue* object = jsc_value_new_object(context, nullptr, nullptr);
  jsc_value_object_define_property_data(object, "post", JSC_VALUE_PROPERTY_ENUMERABLE, function);
  jsc_value_object_define_property_data(object, "ask", JSC_VALUE_PROPERTY_ENUMERABLE, askFunction);
  jsc_value_object_define_property_data(jsc_context_get_global_object(context), "quillo", JSC_VALUE_PROPERTY_ENUMERABLE,
                                        object);
  g_object_unref(object);
  g_object_unref(askFunction);
  g_object_unref(function);
  g_object_unref(context);
}

WebKitUserMessage* evalReply(bool ok, const std::string& text) {
  return webkit_user_message_new(quillo::extension::kEvalInFrame, g_variant_new("(bs)", ok, text.c_str()));
}

// Runs a script in one frame; the result as JSON text, or the error.
bool evaluateIn(WebKitFrame* frame, const char* script, bool isolated, std::string& result) {
  JSCContext* context =
      isolated ? webkit_frame_get_js_context_for_script_world(frame, quilloWorld) : webkit_frame_get_js_context(frame);
  JSCValue* value = jsc_context_evaluate(context, script, -1);
  std::string error;
  char* json = nullptr;
  if (JSCException* exception = jsc_context_get_exception(context)) {
    error = jsc_exception_get_message(exception) ? jsc_exception_get_message(exception) : "the script failed";
  } else if (!jsc_value_is_undefined(value)) {
    json = jsc_value_to_json(value, 0);
    if (JSCException* exception = jsc_context_get_exception(context))
      error = jsc_exception_get_message(exception) ? jsc_exception_get_message(exception) : "no JSON result";
  }
  jsc_context_clear_exception(context);
  result = error.empty() ? (json ? json : "null") : error;
  g_free(json);
  g_clear_object(&value);
  g_object_unref(context);
  return error.empty();
}

WebKitUserMessage* everyFrameReply(bool ok, const std::string& text) {
  return webkit_user_message_new(quillo::extension::kEvalInEveryFrame, g_variant_new("(bs)", ok, text.c_str()));
}

void evaluateInEveryFrame(WebKitWebPage* page, WebKitUserMessage* message) {
  GVariant* parameters = webkit_user_message_get_parameters(message);
  if (!parameters || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sb)"))) {
    webkit_user_message_send_reply(message, everyFrameReply(false, "malformed request"));
    return;
  }
  const char* script = nullptr;
  gboolean isolated = FALSE;
  g_variant_get(parameters, "(&sb)", &script, &isolated);
  guint64 pageID = webkit_web_page_get_id(page);
  std::string results = "[";
  auto add = [&](WebKitFrame* frame) {
    std::string result;
    if (results.size() > 1) results += ",";
    results += evaluateIn(frame, script, isolated, result) ? result : "null";
  };
  for (bool main : {true, false})
    for (auto& [id, known] : frames)
      if (known.pageID == pageID && bool(webkit_frame_is_main_frame(known.frame)) == main) add(known.frame);
  results += "]";
  webkit_user_message_send_reply(message, everyFrameReply(true, results));
}

gboolean receive(WebKitWebPage* page, WebKitUserMessage* message, gpointer) {
  if (g_strcmp0(webkit_user_message_get_name(message), quillo::extension::kEvalInEveryFrame) == 0) {
    evaluateInEveryFrame(page, message);
    return TRUE;
  }
  if (g_strcmp0(webkit_user_message_get_name(message), quillo::extension::kEvalInFrame) != 0) return FALSE;
  GVariant* parameters = webkit_user_message_get_parameters(message);
  if (!parameters || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(tsb)"))) {
    webkit_user_message_send_reply(message, evalReply(false, "malformed request"));
    return TRUE;
  }
  guint64 frameID = 0;
  const char* script = nullptr;
  gboolean isolated = FALSE;
  g_variant_get(parameters, "(t&sb)", &frameID, &script, &isolated);

  auto found = frames.find(frameID);
  // Frame ids are unique per process only; a page may reach just its own.
  if (found == frames.end() || found->second.pageID != webkit_web_page_get_id(page)) {
    webkit_user_message_send_reply(message, evalReply(false, "no frame " + std::to_string(frameID) + " in this page"));
    return TRUE;
  }
  std::string result;
  const bool ok = evaluateIn(found->second.frame, script, isolated, result);
  webkit_user_message_send_reply(message, evalReply(ok, result));
  return TRUE;
}

void frameCleared(WebKitScriptWorld*, WebKitWebPage* page, WebKitFrame* frame, gpointer) {
  remember(page, frame);
  const char* uri = webkit_frame_get_uri(frame);
  sendToView(webkit_web_page_get_id(page), quillo::extension::kFrameLoaded,
             g_variant_new("(tsb)", webkit_frame_get_id(frame), uri ? uri : "", webkit_frame_is_main_frame(frame)));
}

}  // namespace

extern "C" G_MODULE_EXPORT void webkit_web_process_extension_initialize(WebKitWebProcessExtension* extension) {
  theExtension = extension;
  quilloWorld = webkit_script_world_new_with_name(quillo::extension::kWorld);
  g_signal_connect(quilloWorld, "window-object-cleared", G_CALLBACK(installPost), nullptr);
  // Frames that never run one of our scripts still need to be reachable.
  g_signal_connect(webkit_script_world_get_default(), "window-object-cleared", G_CALLBACK(frameCleared), nullptr);
  g_signal_connect(extension, "page-created",
                   G_CALLBACK(+[](WebKitWebProcessExtension*, WebKitWebPage* page, gpointer) {
                     g_signal_connect(page, "user-message-received", G_CALLBACK(receive), nullptr);
                   }),
                   nullptr);
}
