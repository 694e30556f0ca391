#pragma once
// The API base address and every path formed from it: the server's HTTPS
// origin (no trailing slash), the endpoints the SDK posts to, and the SDK's
// own images. This header is the one home of these addresses.
#include <string>

namespace qdx {

inline constexpr const char kQDXApiBase[] = "https://api.qdx.example";

// The API's host name: the base address without its scheme,
// "api.qdx.example". Local servers stand in for it by connect-to mappings.
inline std::string apiHost() {
  const std::string base = kQDXApiBase;
  const std::string::size_type scheme = base.find("://");
  return scheme == std::string::npos ? base : base.substr(scheme + 3);
}

// Endpoint paths, each formed with the base address as "%@/qdx/...".
namespace endpoints {
inline constexpr const char kRegisterDevice[] = "/qdx/reg_dev";
inline constexpr const char kReportUType[] = "/qdx/report_u_type";
inline constexpr const char kGetConfiguration[] = "/qdx/get_configuration";
inline constexpr const char kErrorLogReport[] = "/qdx/error_log_report";
inline constexpr const char kGetRecommendList[] = "/qdx/get_recommend_list";
inline constexpr const char kReportEvent[] = "/qdx/report_event";
inline constexpr const char kReportBaseInfo[] = "/qdx/report_base_info";
}  // namespace endpoints

// The SDK's own images, each formed from the asset base "%@/qdx".
namespace assets {
inline constexpr const char kClose120[] = "/images/close120.png";
inline constexpr const char kGuessULike[] = "/images/guess_u_like.png";
inline constexpr const char kRecommendClose[] = "/recommend/images/close.png";
inline constexpr const char kButtonArrow[] = "/images/btn_arrow_bg.png";
}  // namespace assets

// The URL of an endpoint: the built-in base address followed by path.
inline std::string endpointURL(const char* path) { return std::string(kQDXApiBase) + path; }

// The URL of one of the SDK's own images: "%@/qdx" of the built-in base
// address, followed by path.
inline std::string assetURL(const char* path) { return std::string(kQDXApiBase) + "/qdx" + path; }

}  // namespace qdx
