#pragma once
// One counter for everything on screen: each change a surface must show
// (a view's content, geometry, visibility or children, a presentation, an
// alert, an animation step) takes the next value, so a surface knows that
// nothing changed by comparing one number. Views take a value at birth and
// at each content change, which makes the pair (address, value) name one
// version of one view even when an address is reused.
#include <atomic>
#include <cstdint>

namespace qdx::kit::display_stamp {

inline std::atomic<std::uint64_t>& counter() {
  static std::atomic<std::uint64_t> value{1};
  return value;
}

// Records a change; returns its stamp.
inline std::uint64_t next() { return counter().fetch_add(1, std::memory_order_relaxed) + 1; }

// The stamp of the latest change.
inline std::uint64_t current() { return counter().load(std::memory_order_relaxed); }

}  // namespace qdx::kit::display_stamp
