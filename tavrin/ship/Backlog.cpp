#include "tavrin/ship/Backlog.h"

#include <utility>

namespace tavrin {

void Backlog::add(QueuedFilePtr file) {
  putBack({.file = std::move(file)});
}

std::optional<Delivery> Backlog::take() {
  for (Ordered* files : {&fresh_, &again_}) {
    while (!files->empty()) {
      Delivery first = std::move(files->extract(files->begin()).mapped());
      if (!first.file->isGone) return first;
    }
  }
  return {};
}

void Backlog::putBack(Delivery delivery) {
  const FileOrder order = delivery.file->order;
  (delivery.times == 0 ? fresh_ : again_).insert_or_assign(order, std::move(delivery));
}

void Backlog::acknowledge(Delivery delivery, Clock::time_point now) {
  delivery.acknowledged = now;
  delivery.from = 0;
  ++delivery.times;
  held_.push_back(std::move(delivery));
}

std::vector<QueuedFilePtr> Backlog::release(Clock::time_point time) {
  std::vector<QueuedFilePtr> files;
  for (; !held_.empty() && held_.front().acknowledged <= time; held_.pop_front()) {
    files.push_back(std::move(held_.front().file));
  }
  return files;
}

void Backlog::doubt(unsigned int mostTimes) {
  std::deque<Delivery> kept;
  for (Delivery& delivery : held_) {
    if (delivery.times >= mostTimes) {
      kept.push_back(std::move(delivery));
    } else {
      putBack(std::move(delivery));
    }
  }
  held_ = std::move(kept);
}

void Backlog::sweep() {
  const auto isGone = [](const auto& entry) { return entry.second.file->isGone; };
  std::erase_if(fresh_, isGone);
  std::erase_if(again_, isGone);
  std::erase_if(held_, [](const Delivery& delivery) { return delivery.file->isGone; });
}

std::optional<Backlog::Clock::time_point> Backlog::heldSince() const {
  if (held_.empty()) return {};
  return held_.front().acknowledged;
}

const QueuedFile* Backlog::oldest() const {
  const auto first = [](const Ordered& files) {
    return files.empty() ? nullptr : files.begin()->second.file.get();
  };
  const QueuedFile* const fresh = first(fresh_);
  const QueuedFile* const again = first(again_);
  if (fresh == nullptr || again == nullptr) return fresh == nullptr ? again : fresh;
  return fresh->order < again->order ? fresh : again;
}

}  // namespace tavrin
