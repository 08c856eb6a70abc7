// Signal connections that are cut when their owner is destroyed.
#pragma once
#include <sigc++/connection.h>

#include <vector>

namespace quillo {

// Connections that end with their owner, so a signal of an object that
// outlives it never calls into a destroyed one.
class Connections {
 public:
  Connections() = default;
  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;
  ~Connections() { clear(); }

  void add(sigc::connection connection) { list_.push_back(connection); }
  void clear() {
    for (auto& connection : list_) connection.disconnect();
    list_.clear();
  }

 private:
  std::vector<sigc::connection> list_;
};

}  // namespace quillo
