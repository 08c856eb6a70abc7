// Start-up and memory at scale: quillo with an empty session and with 500
// restored tabs (only the current one shown), against the floor of a bare
// GTK + WebKit window (startup_floor_engine), medians of 5 interleaved runs.
// Run under a display: tools/with-display build/bench/bench_startup_engine
#include <glib.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "core/session.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

constexpr int kRuns = 5;
constexpr size_t kTabs = 500;

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

std::optional<long> number(const std::string& text, const std::string& key) {
  auto at = text.find(key);
  if (at == std::string::npos) return std::nullopt;
  return std::stol(text.substr(at + key.size()));
}

// Parent of every process, and the names of those.
struct ProcessTable {
  std::map<int, int> parent;
  std::map<int, std::string> name;
  ProcessTable() {
    for (auto& entry : fs::directory_iterator("/proc")) {
      auto id = entry.path().filename().string();
      if (id.find_first_not_of("0123456789") != std::string::npos) continue;
      std::ifstream stat(entry.path() / "stat");
      std::string text((std::istreambuf_iterator<char>(stat)), {});
      auto open = text.find('('), close = text.rfind(')');
      if (open == std::string::npos || close == std::string::npos) continue;
      char state = 0;
      int ppid = 0;
      if (sscanf(text.c_str() + close + 2, "%c %d", &state, &ppid) != 2 || state == 'Z') continue;
      int pid = std::stoi(id);
      parent[pid] = ppid;
      name[pid] = text.substr(open + 1, close - open - 1);
    }
  }
  int webProcessesUnder(int root) const {
    int count = 0;
    for (auto& [pid, command] : name) {
      if (command.rfind("WebKitWebProces", 0) != 0) continue;
      for (int p = pid; p > 1; p = parent.count(p) ? parent.at(p) : 0)
        if (p == root) {
          count++;
          break;
        }
    }
    return count;
  }
};

// What the process itself holds in memory: its resident anonymous pages
// (heap, stacks). Shared library pages, which the whole resident size also
// counts, come and go with what the system keeps cached and hide a few
// megabytes either way.
double residentMegabytes(int pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string text((std::istreambuf_iterator<char>(status)), {});
  return double(number(text, "RssAnon:").value_or(0)) / 1024.0;
}

struct Run {
  double shown = 0, ready = 0, megabytes = 0;
  int webProcesses = 0;
  bool ok = false;
};

// Starts a program with the home's XDG folders and reads its report lines
// until "palette ready"; then waits a moment for the shown page to start,
// samples memory and processes, and stops it.
Run measure(const std::string& program, const fs::path& home, const std::string& prefix) {
  Run run;
  int err[2];
  if (pipe(err) != 0) return run;
  pid_t pid = fork();
  if (pid == 0) {
    dup2(err[1], 2);
    close(err[0]);
    close(err[1]);
    setenv("XDG_DATA_HOME", (home / "data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (home / "config").c_str(), 1);
    setenv("XDG_CACHE_HOME", (home / "cache").c_str(), 1);
    setenv("QUILLO_REPORT_STARTUP", "1", 1);
    execl(program.c_str(), program.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(err[1]);
  std::string buffer;
  auto deadline = std::chrono::steady_clock::now() + 30s;
  while (std::chrono::steady_clock::now() < deadline && run.ready == 0) {
    pollfd p{err[0], POLLIN, 0};
    if (poll(&p, 1, 200) <= 0) continue;
    char chunk[4096];
    ssize_t n = read(err[0], chunk, sizeof chunk);
    if (n <= 0) break;
    buffer.append(chunk, size_t(n));
    for (size_t line; (line = buffer.find('\n')) != std::string::npos; buffer.erase(0, line + 1)) {
      std::string text = buffer.substr(0, line);
      if (text.rfind(prefix, 0) != 0) continue;
      if (auto shown = text.find("window shown "); shown != std::string::npos)
        run.shown = std::stod(text.substr(shown + 13));
      if (auto ready = text.find("palette ready for typing "); ready != std::string::npos)
        run.ready = std::stod(text.substr(ready + 25));
    }
  }
  if (run.ready > 0) {
    // Keep draining its output while the current page starts.
    auto until = std::chrono::steady_clock::now() + 2s;
    while (std::chrono::steady_clock::now() < until) {
      pollfd p{err[0], POLLIN, 0};
      if (poll(&p, 1, 100) > 0) {
        char chunk[4096];
        if (read(err[0], chunk, sizeof chunk) <= 0) break;
      }
    }
    run.megabytes = residentMegabytes(pid);
    run.webProcesses = ProcessTable().webProcessesUnder(pid);
    run.ok = true;
  }
  kill(pid, SIGTERM);
  int status = 0;
  for (int i = 0; i < 100 && waitpid(pid, &status, WNOHANG) == 0; ++i) g_usleep(50000);
  if (waitpid(pid, &status, WNOHANG) == 0) {
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
  }
  close(err[0]);
  return run;
}

// 500 tabs as a long-running user leaves them: titles, back/forward blobs,
// one split; the current tab is a blank page so nothing reaches a network.
void writeSession(const fs::path& home, size_t tabs) {
  fs::create_directories(home / "data" / "quillo");
  fs::create_directories(home / "config");
  fs::create_directories(home / "cache");
  auto file = home / "data" / "quillo" / "session.json";
  if (tabs == 0) {
    fs::remove(file);
    return;
  }
  std::mt19937 random(42);
  quillo::Session session;
  for (size_t i = 0; i < tabs; ++i) {
    quillo::Session::Tab tab;
    tab.url = *quillo::Url::parse(i == 0 ? "about:blank"
                                         : "https://site" + std::to_string(i % 97) + ".example/articles/" +
                                               std::to_string(i) + "?ref=front-page");
    tab.title = "An article of some length, number " + std::to_string(i);
    if (i > 0) {
      std::string blob(900 + random() % 600, '\0');
      for (auto& c : blob) c = char(random());
      tab.navigation = blob;
    }
    session.tabs.push_back(std::move(tab));
    session.recent.push_back(i);
  }
  std::ofstream(file) << session.toJSON().dump();
}

}  // namespace

int main(int, char** argv) {
  fs::path here = fs::canonical("/proc/self/exe").parent_path();
  std::string quillo = (here.parent_path() / "quillo").string();
  std::string floor = (here / "startup_floor_engine").string();
  if (const char* bin = g_getenv("QUILLO_BIN")) quillo = bin;
  (void)argv;

  fs::path root = fs::temp_directory_path() / ("quillo-bench-startup." + std::to_string(getpid()));
  fs::path emptyHome = root / "empty", oneHome = root / "one", fullHome = root / "full", floorHome = root / "floor";
  for (auto& home : {emptyHome, oneHome, fullHome, floorHome}) writeSession(home, 0);

  std::vector<double> emptyShown, emptyReady, fullShown, fullReady, floorShown, floorReady, emptyMB, fullMB;
  std::vector<double> oneShown, oneReady, oneMB;
  std::vector<double> fullProcesses, emptyProcesses;
  // One round to warm up each home (the tracker list compiles on the first
  // start), then the measured rounds, interleaved so load on the machine
  // falls on all three alike.
  for (int round = 0; round <= kRuns; ++round) {
    writeSession(emptyHome, 0);
    writeSession(oneHome, 1);
    writeSession(fullHome, kTabs);
    auto f = measure(floor, floorHome, "floor:");
    auto e = measure(quillo, emptyHome, "quillo:");
    auto o = measure(quillo, oneHome, "quillo:");
    auto t = measure(quillo, fullHome, "quillo:");
    if (!f.ok || !e.ok || !o.ok || !t.ok) {
      std::fprintf(stderr, "a run did not report (floor %d, empty %d, tabs %d)\n", f.ok, e.ok, t.ok);
      fs::remove_all(root);
      return 1;
    }
    if (round == 0) continue;
    floorShown.push_back(f.shown), floorReady.push_back(f.ready);
    emptyShown.push_back(e.shown), emptyReady.push_back(e.ready), emptyMB.push_back(e.megabytes);
    fullShown.push_back(t.shown), fullReady.push_back(t.ready), fullMB.push_back(t.megabytes);
    oneShown.push_back(o.shown), oneReady.push_back(o.ready), oneMB.push_back(o.megabytes);
    emptyProcesses.push_back(e.webProcesses), fullProcesses.push_back(t.webProcesses);
  }
  fs::remove_all(root);

  double floorS = median(floorShown), emptyS = median(emptyShown), fullS = median(fullShown);
  double floorR = median(floorReady), emptyR = median(emptyReady), fullR = median(fullReady);
  double oneS = median(oneShown), oneR = median(oneReady);
  std::printf(
      "start-up: shown: empty %.0f ms, 1 tab %.0f ms, %zu tabs %.0f ms, floor %.0f ms "
      "(%zu tabs %.2fx empty, %.2fx 1 tab; empty %.2fx floor); "
      "palette ready: empty %.0f ms, 1 tab %.0f ms, %zu tabs %.0f ms, floor %.0f ms "
      "(%zu tabs %.2fx empty, %.2fx 1 tab; empty %.2fx floor)\n",
      emptyS, oneS, kTabs, fullS, floorS, kTabs, fullS / emptyS, fullS / oneS, emptyS / floorS, emptyR, oneR, kTabs,
      fullR, floorR, kTabs, fullR / emptyR, fullR / oneR, emptyR / floorR);
  // Against one restored tab, so the one shown view is on both sides.
  double extra = median(fullMB) - median(oneMB);
  std::printf(
      "memory: %zu restored tabs %+.1f MB of anonymous memory in the UI process over 1 tab (%.1f KB a tab; %.0f MB vs "
      "%.0f MB, "
      "empty session %.0f MB), %.0f web process(es) (%.0f with an empty session)\n",
      kTabs, extra, extra * 1024.0 / double(kTabs - 1), median(fullMB), median(oneMB), median(emptyMB),
      median(fullProcesses), median(emptyProcesses));
  return 0;
}
