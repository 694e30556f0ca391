#include "ads/QDXADManager.h"

#include <utility>

namespace qdx {

QDXADManager& QDXADManager::defaultADManager() {
  // Never destroyed: background flows may still use it while the process
  // exits.
  static QDXADManager* const manager = new QDXADManager();
  return *manager;
}

void QDXADManager::setAdListener(std::weak_ptr<QDXADDelegate> delegate) {
  std::lock_guard<std::mutex> lock(delegateMutex_);
  delegate_ = std::move(delegate);
}

std::shared_ptr<QDXADDelegate> QDXADManager::delegate() const {
  std::lock_guard<std::mutex> lock(delegateMutex_);
  return delegate_.lock();
}

}  // namespace qdx
