// Downloads on the Linux desktop: the launcher's running count, recent files, and showing a file in its folder.
#pragma once
#include <gio/gio.h>

#include <string>

#include "stores/downloads.h"

namespace quillo {

// Downloads on the Linux desktop: the running count on the launcher
// (com.canonical.Unity.LauncherEntry), arrived files in GTK's recent files,
// and files shown through the file manager's D-Bus interface, else by opening
// their folder.
class DesktopDownloads final : public DownloadsDesktop {
 public:
  // desktopID: the desktop file's name, e.g. "org.quillo.Quillo.desktop".
  explicit DesktopDownloads(std::string desktopID);
  ~DesktopDownloads() override;
  DesktopDownloads(const DesktopDownloads&) = delete;
  DesktopDownloads& operator=(const DesktopDownloads&) = delete;

  void setRunningCount(int count) override;
  void fileArrived(const std::filesystem::path& file) override;
  void reveal(const std::filesystem::path& file) override;

 private:
  std::string appURI_;
  GCancellable* cancellable_;
  int lastCount_ = -1;
};

}  // namespace quillo
