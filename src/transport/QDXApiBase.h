#pragma once
// The API base address: the server's HTTPS origin, no trailing slash. Every
// endpoint URL and the SDK's own image assets are formed from it.
namespace qdx {

inline constexpr const char kQDXApiBase[] = "https://api.qdx.example";

}  // namespace qdx
