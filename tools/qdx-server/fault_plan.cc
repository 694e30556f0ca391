#include "fault_plan.h"

#include <fnmatch.h>

#include <cmath>
#include <cstdlib>

namespace qdx::server {
namespace {

std::optional<double> parseNumber(const std::string& text) {
  if (text.empty()) return std::nullopt;
  char* end = nullptr;
  double value = std::strtod(text.c_str(), &end);
  if (end != text.c_str() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::string kindName(const Fault& fault) {
  auto number = [&] {
    double whole = std::trunc(fault.arg);
    return whole == fault.arg ? std::to_string(static_cast<long long>(whole))
                              : std::to_string(fault.arg);
  };
  switch (fault.kind) {
    case FaultKind::kRetcode: return "retcode:" + number();
    case FaultKind::kGarbage: return "garbage";
    case FaultKind::kHttpStatus: return "http:" + number();
    case FaultKind::kDelay: return "delay:" + number();
    case FaultKind::kDrop: return "drop";
    case FaultKind::kPlaintextData: return "plaintext-data";
    case FaultKind::kNoData: return "no-data";
    case FaultKind::kTextData: return "text-data";
    case FaultKind::kPayload: return "payload:" + fault.text;
    case FaultKind::kMoved: return "moved";
  }
  return "?";
}

}  // namespace

std::optional<FaultRule> parseFaultRule(const std::string& rule, std::string& error) {
  // The endpoint may itself hold no colon; the kind and its argument follow.
  auto first = rule.find(':');
  if (first == std::string::npos || first == 0) {
    error = "expected ENDPOINT:KIND[:ARG]";
    return std::nullopt;
  }
  FaultRule result;
  result.endpoint = rule.substr(0, first);
  std::string rest = rule.substr(first + 1);
  std::string kind = rest;
  std::string arg;
  auto second = rest.find(':');
  if (second != std::string::npos) {
    kind = rest.substr(0, second);
    arg = rest.substr(second + 1);
  }
  auto needsArg = [&](FaultKind k, double low, double high) -> std::optional<FaultRule> {
    auto value = parseNumber(arg);
    if (!value || *value < low || *value > high) {
      error = kind + " wants a number argument";
      return std::nullopt;
    }
    result.fault = Fault{k, *value};
    return result;
  };
  auto noArg = [&](FaultKind k) -> std::optional<FaultRule> {
    if (!arg.empty()) {
      error = kind + " takes no argument";
      return std::nullopt;
    }
    result.fault = Fault{k, 0};
    return result;
  };
  if (kind == "retcode") return needsArg(FaultKind::kRetcode, -2147483648.0, 2147483647.0);
  if (kind == "http") return needsArg(FaultKind::kHttpStatus, 100, 599);
  if (kind == "delay") return needsArg(FaultKind::kDelay, 0, 3600);
  if (kind == "garbage") return noArg(FaultKind::kGarbage);
  if (kind == "drop") return noArg(FaultKind::kDrop);
  if (kind == "plaintext-data") return noArg(FaultKind::kPlaintextData);
  if (kind == "no-data") return noArg(FaultKind::kNoData);
  if (kind == "text-data") return noArg(FaultKind::kTextData);
  if (kind == "payload") {
    // Everything after "payload:" is the text, colons and all.
    result.fault = Fault{FaultKind::kPayload, 0, arg};
    return result;
  }
  if (kind == "moved") return noArg(FaultKind::kMoved);
  if (kind == "none" && arg.empty()) return result;
  error = "unknown fault kind " + kind;
  return std::nullopt;
}

void FaultPlan::apply(const FaultRule& rule) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (rule.fault) {
    faults_[rule.endpoint] = *rule.fault;
  } else {
    faults_.erase(rule.endpoint);
  }
}

void FaultPlan::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  faults_.clear();
}

std::optional<Fault> FaultPlan::faultFor(const std::string& endpoint) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto own = faults_.find(endpoint);
  if (own != faults_.end()) return own->second;
  // Then a pattern ("*.png": every image), the first in the map's order.
  for (const auto& [pattern, fault] : faults_) {
    if (pattern != "*" && pattern.find('*') != std::string::npos &&
        ::fnmatch(pattern.c_str(), endpoint.c_str(), 0) == 0) {
      return fault;
    }
  }
  auto any = faults_.find("*");
  if (any != faults_.end()) return any->second;
  return std::nullopt;
}

Json FaultPlan::describe() const {
  std::lock_guard<std::mutex> lock(mutex_);
  Json out = Json::object();
  for (const auto& [endpoint, fault] : faults_) out[endpoint] = kindName(fault);
  return out;
}

}  // namespace qdx::server
