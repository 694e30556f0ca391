#include "support/reference_server.h"

#include <cstdio>

namespace qdx {

ReferenceServer::ReferenceServer() : ReferenceServer(Options{}) {}

ReferenceServer::ReferenceServer(Options options) {
  ServerProcess::Options launch;
  launch.apps = std::move(options.apps);
  launch.faults = std::move(options.faults);
  launch.catalog = options.catalog;
  launch.untrustedCertificate = options.untrustedCertificate;
  launch.noControl = options.noControl;
  std::string error;
  process_ = ServerProcess::start(launch, error);
  if (!process_) {
    std::fprintf(stderr, "reference server: %s\n", error.c_str());
    return;
  }
  TestEnv* env = TestEnv::installed();
  if (env != nullptr && Env::Default() == env) configure(*env);
}

ReferenceServer::~ReferenceServer() = default;

std::string ReferenceServer::connectTo() const { return process_ ? process_->connectTo() : ""; }

void ReferenceServer::configure(PosixEnv& env) const {
  env.setCaFile(ServerProcess::caFile());
  env.setConnectTo({connectTo()});
}

std::vector<Json> ReferenceServer::journal() const {
  return process_ ? process_->journal() : std::vector<Json>{};
}

std::vector<Json> ReferenceServer::entriesFor(const std::string& endpoint) const {
  return process_ ? process_->entriesFor(endpoint) : std::vector<Json>{};
}

bool ReferenceServer::waitForEntries(const std::string& endpoint, std::size_t count,
                                     double timeoutSeconds) const {
  return process_ && process_->waitForEntries(endpoint, count, timeoutSeconds);
}

bool ReferenceServer::setFault(const std::string& rule) const {
  return process_ && process_->setFault(rule);
}

bool ReferenceServer::clearFaults() const { return process_ && process_->clearFaults(); }

}  // namespace qdx
