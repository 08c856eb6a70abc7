// The downloads list: where each file goes, how far it got, how it ended, and "downloads.json".
#pragma once
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/sources.h"

namespace quillo {

// A running download of the engine, as far as the list needs it.
class DownloadJob {
 public:
  virtual ~DownloadJob() = default;
  virtual void cancel() = 0;
};

// What the desktop shows of downloads: the running count on the launcher,
// arrived files among the recent files, and a file shown in its folder.
class DownloadsDesktop {
 public:
  virtual ~DownloadsDesktop() = default;
  virtual void setRunningCount(int count) = 0;
  virtual void fileArrived(const std::filesystem::path& file) = 0;
  virtual void reveal(const std::filesystem::path& file) = 0;
};

// The files pages have downloaded, newest first: where each goes, how far it
// got, and how it ended. Downloads of normal pages are remembered in
// "downloads.json" (the newest 500); private pages' downloads are listed for
// this run only. Main thread only.
class Downloads final : public DownloadSource {
 public:
  static constexpr const char* kFileName = "downloads.json";
  static constexpr size_t kSavedLimit = 500;
  static constexpr const char* kStoppedAtQuit = "Stopped when Quillo quit";

  class Item final : public DownloadItem {
   public:
    std::string filename() const override { return filename_; }
    std::optional<Url> source() const override { return source_; }
    bool isMissing() const override;
    State state() const override { return state_; }
    double fraction() const override { return fraction_; }
    std::string failure() const override { return failure_; }

    const std::optional<std::filesystem::path>& file() const { return file_; }
    std::chrono::system_clock::time_point started() const { return started_; }
    bool isPrivate() const { return isPrivate_; }
    // Started during this run (loaded items have no running download).
    bool isThisSession() const { return thisSession_; }

   private:
    friend class Downloads;
    std::shared_ptr<DownloadJob> job_;
    bool thisSession_ = false;
    bool isPrivate_ = false;
    // The destination is a file we made empty to claim the name.
    bool claimed_ = false;
    std::chrono::system_clock::time_point started_{};
    std::optional<Url> source_;
    std::string filename_;
    std::optional<std::filesystem::path> file_;
    double fraction_ = 0;
    State state_ = State::downloading;
    std::string failure_;
  };
  using ItemPtr = std::shared_ptr<Item>;

  // Reads the list from the file (in the application support folder unless
  // given); files go to `folder` (the user's download folder unless given).
  Downloads();
  Downloads(std::filesystem::path file, std::filesystem::path folder);
  Downloads(const Downloads&) = delete;
  Downloads& operator=(const Downloads&) = delete;

  // The desktop's download folder, else ~/Downloads.
  static std::filesystem::path userFolder();
  // The first of "name.ext", "name 2.ext", "name 3.ext"… in the folder for
  // which taken(path) is false.
  static std::filesystem::path freePath(const std::filesystem::path& folder, const std::string& suggested,
                                        const std::function<bool(const std::filesystem::path&)>& taken);
  const std::filesystem::path& folder() const { return folder_; }

  // ---- From the engine ----
  ItemPtr start(std::shared_ptr<DownloadJob> job, std::optional<Url> source, bool isPrivate);
  // Chooses and claims the file for a download: a free name in the folder,
  // made as an empty file so nothing else takes it; none when the folder
  // cannot be written.
  std::optional<std::filesystem::path> chooseDestination(const ItemPtr& item, const std::string& suggested);
  // The engine created the file somewhere we did not choose: follow it there.
  void adoptDestination(const ItemPtr& item, const std::filesystem::path& path);
  void progress(const ItemPtr& item, double fraction);
  void finish(const ItemPtr& item);
  // A cancelled download (one removed from the list) is not a failure.
  void fail(const ItemPtr& item, const std::string& message, bool cancelled);

  // ---- DownloadSource ----
  std::vector<DownloadItemPtr> items() const override;
  void remove(const DownloadItemPtr& item) override;
  void reveal(const DownloadItemPtr& item) override;

  const std::vector<ItemPtr>& list() const { return items_; }
  std::vector<DownloadItemPtr> thisSession() const;
  int running() const;
  void attach(DownloadsDesktop& desktop);

 private:
  void load();
  void listChanged();
  void save();
  ItemPtr find(const DownloadItem* item) const;

  std::filesystem::path file_;
  std::filesystem::path folder_;
  std::vector<ItemPtr> items_;
  DownloadsDesktop* desktop_ = nullptr;
  bool fileUnreadable_ = false;
};

}  // namespace quillo
