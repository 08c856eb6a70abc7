// The page's questions to the user: one shown over the page at a time, the rest waiting in order.
#include "page/page.h"

namespace quillo {

void Page::ask(Alert alert, DialogAnswered answered) {
  questions_.push_back({std::make_shared<const Alert>(std::move(alert)), std::move(answered)});
  if (questions_.size() == 1) showFrontQuestion();
}

void Page::showFrontQuestion() {
  // The tab comes forward first, so the question shows over it at once.
  if (!questions_.empty() && onNeedsAttention) onNeedsAttention();
  dialog = questions_.empty() ? nullptr : questions_.front().alert;
  changed.emit();
}

void Page::answerDialog(const std::shared_ptr<const Alert>& shown, const AlertAnswer& answer) {
  if (questions_.empty() || questions_.front().alert != shown) return;
  auto answered = std::move(questions_.front().answered);
  questions_.pop_front();
  showFrontQuestion();
  if (answered) answered(answer);
}

void Page::dismissDialogs() {
  if (questions_.empty()) return;
  auto waiting = std::exchange(questions_, {});
  dialog = nullptr;
  changed.emit();
  for (auto& question : waiting)
    if (question.answered) question.answered(AlertAnswer::cancelled(*question.alert));
}

void Page::webViewAsk(const Alert& alert, std::function<void(const AlertAnswer&)> answered) {
  ask(alert, std::move(answered));
}

}  // namespace quillo
