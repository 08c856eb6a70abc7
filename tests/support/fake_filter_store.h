// Doubles for the block lists: a content-filter store, a list download and a log capture.
#pragma once
#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "blocking/filter_store.h"
#include "blocking/list_fetcher.h"
#include "core/log.h"
#include "core/scheduler.h"

namespace quillo::test {

// A compiled list as the fake store makes it: remembers its JSON.
struct FakeFilter final : ContentFilter {
  FakeFilter(std::string identifier, std::string json) : id(std::move(identifier)), json(std::move(json)) {}
  const std::string& identifier() const override { return id; }
  std::string id, json;
};

// Keeps "compiled" lists in memory and answers on a later turn of the scheduler, like the engine's store does.
class FakeFilterStore final : public FilterStore {
 public:
  explicit FakeFilterStore(Scheduler& scheduler) : scheduler_(scheduler) {}

  // A list stored by an earlier run.
  void put(const std::string& identifier, const std::string& json) {
    stored[identifier] = std::make_shared<FakeFilter>(identifier, json);
  }
  void compile(const std::string& identifier, std::string json, Compiled done) override {
    compiled.push_back(identifier);
    later([this, identifier, json = std::move(json), done = std::move(done)] {
      if (!compileError.empty()) return done(nullptr, compileError);
      put(identifier, json);
      done(stored[identifier], {});
    });
  }
  void load(const std::string& identifier, Loaded done) override {
    later([this, identifier, done = std::move(done)] {
      auto it = stored.find(identifier);
      done(it == stored.end() ? Stored{} : Stored{it->second, sourceDigest(it->second->json)});
    });
  }
  void release() {
    hold = false;
    for (auto& work : std::exchange(held_, {})) later(std::move(work));
  }

  std::map<std::string, std::shared_ptr<FakeFilter>> stored;
  std::vector<std::string> compiled;
  std::string compileError;  // non-empty: every compile fails with it
  bool hold = false;         // answers wait for release()

 private:
  void later(std::function<void()> work) {
    if (hold) return held_.push_back(std::move(work));
    tasks_.push_back(scheduler_.post(std::move(work)));
  }
  Scheduler& scheduler_;
  std::vector<TaskHandle> tasks_;
  std::vector<std::function<void()>> held_;
};

// A download that waits until the test answers it.
struct FakeFetcher final : ListFetcher {
  struct State {
    std::vector<std::string> urls;
    std::function<void(FetchResult)> pending;
  };
  explicit FakeFetcher(std::shared_ptr<State> state) : state(std::move(state)) {}
  void fetch(const std::string& url, std::function<void(FetchResult)> done) override {
    state->urls.push_back(url);
    state->pending = std::move(done);
  }
  std::shared_ptr<State> state;
};

// Collects what is logged while it lives.
class CapturedLog {
 public:
  CapturedLog() : previous_(setLogSink([this](const std::string& line) { lines.push_back(line); })) {}
  ~CapturedLog() { setLogSink(previous_); }
  bool has(const std::string& start) const {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) { return line.starts_with(start); });
  }
  std::vector<std::string> lines;

 private:
  LogSink previous_;
};

}  // namespace quillo::test
