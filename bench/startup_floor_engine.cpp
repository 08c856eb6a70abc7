// The floor for start-up: a bare GTK 4 window holding one WebKitWebView and
// an entry that takes the keyboard, nothing else. Prints when it was shown
// and when the entry was ready for typing, as quillo does with
// QUILLO_REPORT_STARTUP=1, so bench_startup_engine can set the two side by
// side in one run.
#include <gtk/gtk.h>
#include <unistd.h>
#include <webkit/webkit.h>

#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

namespace {

// The process start in the monotonic clock, from /proc (counts the loading
// of libraries before main).
gint64 processStart() {
  gint64 now = g_get_monotonic_time();
  gchar* stat = nullptr;
  if (!g_file_get_contents("/proc/self/stat", &stat, nullptr, nullptr)) return now;
  std::string text(stat);
  g_free(stat);
  std::vector<std::string> fields;
  for (size_t i = text.rfind(')') + 2, j; i < text.size(); i = j + 1) {
    j = text.find(' ', i);
    if (j == std::string::npos) j = text.size();
    fields.push_back(text.substr(i, j - i));
  }
  if (fields.size() < 20) return now;
  double ticks = std::stod(fields[19]);
  struct timespec boot;
  clock_gettime(CLOCK_BOOTTIME, &boot);
  double since = double(boot.tv_sec) + boot.tv_nsec / 1e9 - ticks / double(sysconf(_SC_CLK_TCK));
  return now - gint64(since * 1e6);
}

gint64 start;

void report(const char* what) {
  g_printerr("floor: %s %.0f ms after start\n", what, (g_get_monotonic_time() - start) / 1000.0);
}

void activate(GtkApplication* app, gpointer) {
  GtkWidget* window = gtk_application_window_new(app);
  gtk_window_set_default_size(GTK_WINDOW(window), 1200, 800);
  GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  GtkWidget* entry = gtk_entry_new();
  GtkWidget* view = webkit_web_view_new();
  gtk_widget_set_vexpand(view, TRUE);
  gtk_box_append(GTK_BOX(box), entry);
  gtk_box_append(GTK_BOX(box), view);
  gtk_window_set_child(GTK_WINDOW(window), box);
  g_signal_connect(window, "map", G_CALLBACK(+[](GtkWidget*, gpointer) {
                     g_idle_add_once(
                         [](gpointer) {
                           report("window shown");
                           g_idle_add_full(
                               G_PRIORITY_LOW,
                               [](gpointer) {
                                 report("palette ready for typing");
                                 return G_SOURCE_REMOVE;
                               },
                               nullptr, nullptr);
                         },
                         nullptr);
                   }),
                   nullptr);
  gtk_window_present(GTK_WINDOW(window));
  gtk_widget_grab_focus(entry);
}

}  // namespace

int main(int argc, char** argv) {
  start = processStart();
  GtkApplication* app = gtk_application_new("org.quillo.StartupFloor", G_APPLICATION_NON_UNIQUE);
  g_signal_connect(app, "activate", G_CALLBACK(activate), nullptr);
  int status = g_application_run(G_APPLICATION(app), argc, argv);
  g_object_unref(app);
  return status;
}
