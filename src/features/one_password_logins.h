// The palette's login scope: the site's 1Password logins, filling the chosen one, then watching for a one-time code.
#pragma once
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/scheduler.h"
#include "core/sources.h"
#include "features/one_password.h"
#include "features/one_password_tool.h"

namespace quillo {

class Browser;
class Page;

// The palette's login scope and the filling of logins and one-time codes
// from 1Password. Lists the current site's logins when the scope opens,
// fills the chosen one into the frames of the same site, and afterwards
// watches for a one-time-code field when the item has a code. Private tabs
// never reach the tool. Main thread only.
class OnePasswordLogins final : public LoginSource {
 public:
  static constexpr std::chrono::seconds kCodeWatchTime{180};
  static constexpr std::chrono::seconds kCodeWatchInterval{1};

  OnePasswordLogins(Browser& browser, OnePassword::Tool& tool);
  ~OnePasswordLogins() override;
  OnePasswordLogins(const OnePasswordLogins&) = delete;
  OnePasswordLogins& operator=(const OnePasswordLogins&) = delete;

  // LoginSource
  std::vector<Login> logins() const override { return logins_; }
  void load() override;
  void fill(const Login& login) override;

  // Shown in the login scope instead of the list (or while it is empty).
  const std::optional<std::string>& notice() const { return notice_; }
  // The host the list was loaded for.
  const std::optional<std::string>& loginsHost() const { return loginsHost_; }
  bool isWatchingForCode() const { return watch_ != nullptr; }
  // Whether the tool is being asked something (a list, a login or a code).
  bool isAsking() const { return listCall_.pending() || fillCall_.pending() || codeCall_.pending(); }

 private:
  struct Watch;
  void setNotice(std::optional<std::string> notice);
  void scopeChanged();
  void filled(const Login& login, const std::shared_ptr<Page>& page, const std::string& pageHost, bool anyFilled,
              bool hasOneTimeCode);
  void watchForOneTimeCode(const Login& login, const std::shared_ptr<Page>& page, const std::string& pageHost);
  void watchRound();
  // Asks each frame in turn whether it shows a code field; calls found with
  // the first that does, or with nullopt.
  void findCodeFrame(const Login& login, const std::shared_ptr<Page>& page,
                     std::function<void(std::optional<std::pair<uint64_t, std::string>>)> found);
  void fillOneTimeCode(const Login& login, const std::shared_ptr<Page>& page, const std::string& pageHost,
                       uint64_t frame, const std::string& frameHost);
  void closePalette();

  Browser& browser_;
  OnePassword::Tool& tool_;
  std::vector<Login> logins_;
  std::optional<std::string> notice_;
  std::optional<std::string> loginsHost_;
  OnePassword::Tool::Call listCall_;
  OnePassword::Tool::Call fillCall_;
  OnePassword::Tool::Call codeCall_;
  std::unique_ptr<Watch> watch_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  std::vector<sigc::connection> connections_;
};

}  // namespace quillo
