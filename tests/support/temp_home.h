// A throwaway home: the XDG data, config and cache folders pointed at a temporary folder.
#pragma once
#include <filesystem>
#include <string>

namespace quillo::test {

// Points XDG_DATA_HOME, XDG_CONFIG_HOME and XDG_CACHE_HOME at a fresh
// temporary folder for the life of the object, and removes it afterwards.
class TempHome {
 public:
  TempHome();
  ~TempHome();
  TempHome(const TempHome&) = delete;
  TempHome& operator=(const TempHome&) = delete;
  const std::filesystem::path& root() const { return root_; }
  std::filesystem::path data(const std::string& name) const;   // under $XDG_DATA_HOME/quillo
  static std::string read(const std::filesystem::path& file);  // the file's bytes, empty when missing

 private:
  std::filesystem::path root_;
  std::string saved_[3];
  bool had_[3] = {};
};

}  // namespace quillo::test
