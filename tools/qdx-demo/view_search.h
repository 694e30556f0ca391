#pragma once
// Finding the SDK's views in a host's view tree, the way a UI test would:
// by kind and tag, through the public kit only.
#include <memory>
#include <vector>

#include "qdx/kit/Kit.h"

namespace qdx::demo {

// Every view of kind T in root's tree (root included), depth first.
template <typename T>
void collect(const std::shared_ptr<kit::View>& root, std::vector<std::shared_ptr<T>>& found) {
  if (!root) return;
  if (auto typed = std::dynamic_pointer_cast<T>(root)) found.push_back(typed);
  for (const auto& child : root->subviews()) collect(child, found);
}

template <typename T>
std::vector<std::shared_ptr<T>> findAll(const std::shared_ptr<kit::View>& root) {
  std::vector<std::shared_ptr<T>> found;
  collect(root, found);
  return found;
}

template <typename T>
std::shared_ptr<T> findFirst(const std::shared_ptr<kit::View>& root) {
  auto found = findAll<T>(root);
  return found.empty() ? nullptr : found.front();
}

// The banner the SDK placed in host: the child whose first subview is its
// artwork and which holds the close button (tag 1). nullptr when none.
inline std::shared_ptr<kit::View> findBanner(const std::shared_ptr<kit::View>& host) {
  if (!host) return nullptr;
  for (const auto& child : host->subviews()) {
    const auto parts = child->subviews();
    if (parts.size() == 2 && std::dynamic_pointer_cast<kit::ImageView>(parts[0]) &&
        parts[1]->tag() == 1 && std::dynamic_pointer_cast<kit::Button>(parts[1])) {
      return child;
    }
  }
  return nullptr;
}

}  // namespace qdx::demo
