// The downloads list: where each file goes, how far it got, how it ended, and "downloads.json".
#include "stores/downloads.h"

#include <fcntl.h>
#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "core/app_support.h"
#include "core/date.h"
#include "core/log.h"

namespace quillo {

namespace {

bool pathExists(const std::filesystem::path& path) {
  std::error_code ec;
  return std::filesystem::exists(std::filesystem::symlink_status(path, ec));
}

// The name a download is listed under before it has a file: the address's
// last path component, else "Download".
std::string nameFromSource(const std::optional<Url>& source) {
  if (source) {
    std::string path = source->path();
    while (!path.empty() && path.back() == '/') path.pop_back();
    auto slash = path.rfind('/');
    std::string last = slash == std::string::npos ? path : path.substr(slash + 1);
    if (!last.empty()) {
      char* decoded = g_uri_unescape_string(last.c_str(), nullptr);
      if (decoded) {
        last = decoded;
        g_free(decoded);
      }
      if (!last.empty() && last.find('/') == std::string::npos) return last;
    }
  }
  return "Download";
}

// A suggested name reduced to one harmless file name.
std::string safeName(const std::string& suggested) {
  std::string name = suggested;
  if (auto slash = name.find_last_of('/'); slash != std::string::npos) name = name.substr(slash + 1);
  std::replace(name.begin(), name.end(), '\0', '_');
  if (name.empty() || name == "." || name == "..") return "Download";
  return name;
}

// Removes our own empty placeholder once nothing will be written into it.
void dropClaim(const Downloads::Item& item, bool claimed) {
  if (!claimed || !item.file()) return;
  std::error_code ec;
  if (std::filesystem::is_regular_file(*item.file(), ec) && std::filesystem::file_size(*item.file(), ec) == 0 && !ec)
    std::filesystem::remove(*item.file(), ec);
}

}  // namespace

bool Downloads::Item::isMissing() const { return state_ != State::downloading && file_ && !pathExists(*file_); }

Downloads::Downloads() : Downloads(AppSupport::file(kFileName), userFolder()) {}

Downloads::Downloads(std::filesystem::path file, std::filesystem::path folder)
    : file_(std::move(file)), folder_(std::move(folder)) {
  load();
}

std::filesystem::path Downloads::userFolder() {
  if (const char* folder = g_get_user_special_dir(G_USER_DIRECTORY_DOWNLOAD); folder && *folder) return folder;
  return std::filesystem::path(g_get_home_dir()) / "Downloads";
}

std::filesystem::path Downloads::freePath(const std::filesystem::path& folder, const std::string& suggested,
                                          const std::function<bool(const std::filesystem::path&)>& taken) {
  const std::filesystem::path name = safeName(suggested);
  std::filesystem::path candidate = folder / name;
  if (!taken(candidate)) return candidate;
  std::string base = name.stem().string();
  std::string extension = name.extension().string();  // with its dot, or empty
  for (unsigned n = 2;; ++n) {
    candidate = folder / (base + " " + std::to_string(n) + extension);
    if (!taken(candidate)) return candidate;
  }
}

Downloads::ItemPtr Downloads::start(std::shared_ptr<DownloadJob> job, std::optional<Url> source, bool isPrivate) {
  auto item = std::make_shared<Item>();
  item->job_ = std::move(job);
  item->thisSession_ = true;
  item->isPrivate_ = isPrivate;
  item->started_ = std::chrono::system_clock::now();
  item->filename_ = nameFromSource(source);
  item->source_ = std::move(source);
  items_.insert(items_.begin(), item);
  listChanged();
  return item;
}

std::optional<std::filesystem::path> Downloads::chooseDestination(const ItemPtr& item, const std::string& suggested) {
  std::error_code ec;
  std::filesystem::create_directories(folder_, ec);
  auto taken = [this, &item](const std::filesystem::path& path) {
    if (pathExists(path)) return true;
    return std::any_of(items_.begin(), items_.end(), [&](const ItemPtr& other) {
      return other != item && other->state_ == Item::State::downloading && other->file_ == path;
    });
  };
  // The name is claimed by making the file: the engine deletes a file it is
  // told not to overwrite, so it is only ever pointed at our own empty one.
  for (int attempt = 0; attempt < 1000; ++attempt) {
    auto path = freePath(folder_, suggested, taken);
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd >= 0) {
      ::close(fd);
      item->file_ = path;
      item->claimed_ = true;
      item->filename_ = path.filename().string();
      listChanged();
      return path;
    }
    if (errno != EEXIST) {
      logLine("couldn't save a download in " + folder_.string() + ": " + std::strerror(errno));
      return std::nullopt;
    }
  }
  return std::nullopt;
}

void Downloads::adoptDestination(const ItemPtr& item, const std::filesystem::path& path) {
  if (item->file_ == path || path.empty()) return;
  if (item->file_ && item->claimed_) dropClaim(*item, true);
  item->file_ = path;
  item->claimed_ = false;
  item->filename_ = path.filename().string();
  listChanged();
}

void Downloads::progress(const ItemPtr& item, double fraction) {
  fraction = std::clamp(fraction, 0.0, 1.0);
  // Redraw on whole percents only; the file keeps no progress.
  bool visible = int(fraction * 100) != int(item->fraction_ * 100);
  item->fraction_ = fraction;
  if (visible) changed.emit();
}

void Downloads::finish(const ItemPtr& item) {
  if (item->state_ != Item::State::downloading) return;
  item->fraction_ = 1.0;
  item->state_ = Item::State::finished;
  item->job_.reset();
  listChanged();
  // A private tab leaves nothing behind in the desktop's history either.
  if (desktop_ && item->file_ && !item->isPrivate_) desktop_->fileArrived(*item->file_);
}

void Downloads::fail(const ItemPtr& item, const std::string& message, bool cancelled) {
  if (item->state_ != Item::State::downloading) return;
  item->job_.reset();
  dropClaim(*item, item->claimed_);
  if (cancelled && !find(item.get())) {
    // Removal cancels; the item has left the list already.
    item->state_ = Item::State::failed;
    return;
  }
  item->state_ = Item::State::failed;
  item->failure_ = message.empty() ? "The download failed." : message;
  listChanged();
}

std::vector<DownloadItemPtr> Downloads::items() const { return {items_.begin(), items_.end()}; }

std::vector<DownloadItemPtr> Downloads::thisSession() const {
  std::vector<DownloadItemPtr> list;
  for (auto& item : items_)
    if (item->thisSession_) list.push_back(item);
  return list;
}

int Downloads::running() const {
  return int(std::count_if(items_.begin(), items_.end(),
                           [](const ItemPtr& item) { return item->state_ == Item::State::downloading; }));
}

Downloads::ItemPtr Downloads::find(const DownloadItem* item) const {
  for (auto& candidate : items_)
    if (candidate.get() == item) return candidate;
  return nullptr;
}

void Downloads::remove(const DownloadItemPtr& removed) {
  ItemPtr item = find(removed.get());
  if (!item) return;
  items_.erase(std::find(items_.begin(), items_.end(), item));
  if (item->state_ == Item::State::downloading && item->job_) {
    auto job = item->job_;
    job->cancel();
  }
  listChanged();
}

void Downloads::reveal(const DownloadItemPtr& revealed) {
  ItemPtr item = find(revealed.get());
  if (!item || !item->file_ || item->isMissing() || !desktop_) return;
  desktop_->reveal(*item->file_);
}

void Downloads::attach(DownloadsDesktop& desktop) {
  desktop_ = &desktop;
  desktop_->setRunningCount(running());
}

void Downloads::listChanged() {
  if (desktop_) desktop_->setRunningCount(running());
  save();
  changed.emit();
}

void Downloads::load() {
  auto read = AppSupport::read(file_);
  if (read.status == AppSupport::ReadResult::Status::missing) return;
  fileUnreadable_ = true;
  if (read.status != AppSupport::ReadResult::Status::ok || !read.value.is_array()) return;
  std::vector<ItemPtr> loaded;
  for (const auto& record : read.value) {
    if (!record.is_object()) return;
    auto filename = record.find("filename");
    auto started = record.find("started");
    auto finished = record.find("isFinished");
    if (filename == record.end() || !filename->is_string() || started == record.end() || !started->is_number() ||
        finished == record.end() || !finished->is_boolean())
      return;
    auto item = std::make_shared<Item>();
    item->filename_ = filename->get<std::string>();
    item->started_ = fromReferenceSeconds(started->get<double>());
    if (auto file = record.find("file"); file != record.end()) {
      if (!file->is_string()) return;
      auto url = Url::parse(file->get<std::string>());
      if (url && !url->filePath().empty()) item->file_ = std::filesystem::path(url->filePath());
    }
    if (auto source = record.find("source"); source != record.end()) {
      if (!source->is_string()) return;
      item->source_ = Url::parse(source->get<std::string>());
    }
    if (finished->get<bool>()) {
      item->state_ = Item::State::finished;
      item->fraction_ = 1.0;
    } else {
      item->state_ = Item::State::failed;
      auto failure = record.find("failure");
      item->failure_ = failure != record.end() && failure->is_string() ? failure->get<std::string>() : kStoppedAtQuit;
    }
    loaded.push_back(std::move(item));
  }
  items_ = std::move(loaded);
  fileUnreadable_ = false;
}

void Downloads::save() {
  if (!AppSupport::readyToReplace(file_, fileUnreadable_, kFileName)) return;
  nlohmann::json records = nlohmann::json::array();
  for (const auto& item : items_) {
    if (item->isPrivate_) continue;
    if (records.size() >= kSavedLimit) break;
    nlohmann::json record = {{"filename", item->filename_},
                             {"started", toReferenceSeconds(item->started_)},
                             {"isFinished", item->state_ == Item::State::finished}};
    if (item->file_)
      if (auto url = Url::fromFilePath(item->file_->string())) record["file"] = url->str();
    if (item->source_) record["source"] = item->source_->str();
    if (item->state_ == Item::State::failed && !item->failure_.empty()) record["failure"] = item->failure_;
    records.push_back(std::move(record));
  }
  AppSupport::writeAtomically(file_, records.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), kFileName);
}

}  // namespace quillo
