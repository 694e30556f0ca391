#pragma once
// Fetching an ad's picture. Every picture an ad view shows comes through
// the image cache; one too large to decode (a side over the kit's
// kMaxImageSide) is refused like a picture that never arrived, so each view
// applies its rules for missing data rather than showing an empty frame.
#include <optional>
#include <string>

namespace qdx {

// The bytes of the picture at url from the image cache; nullopt for an
// absent url, a miss, or a picture over the kit's pixel budget (logged).
std::optional<std::string> adImageData(const std::optional<std::string>& url);

}  // namespace qdx
