#pragma once
// The ad manager: the process-wide object that requests ad lists and runs
// the banner and recommend-wall flows. It also keeps the host's delegate,
// weakly: the host owns its delegate.
#include <memory>
#include <mutex>

#include "qdx/QDXADDelegate.h"

namespace qdx {

class QDXADManager {
 public:
  // The shared manager, created on first use and never destroyed.
  // Safe from any thread.
  static QDXADManager& defaultADManager();

  // Keeps delegate weakly; a later call replaces it. Safe from any thread.
  void setAdListener(std::weak_ptr<QDXADDelegate> delegate);
  // The host's delegate while the host keeps it alive, else nullptr.
  // Callers hold the returned pointer for the duration of one call.
  std::shared_ptr<QDXADDelegate> delegate() const;

  QDXADManager(const QDXADManager&) = delete;
  QDXADManager& operator=(const QDXADManager&) = delete;

 private:
  QDXADManager() = default;

  mutable std::mutex delegateMutex_;
  std::weak_ptr<QDXADDelegate> delegate_;
};

}  // namespace qdx
