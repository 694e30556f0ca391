#pragma once
// What the C interface's entry points ask of the session.
#include <cstdint>
#include <string>

namespace qdx::capi {

// Starts the SDK once with the facade's delegate set to the C callbacks:
// QDX_OK, QDX_ERROR_STATE when it was started before, QDX_ERROR_INTERNAL
// when it did not start.
int start(const std::string& channel, std::int64_t appId, const std::string& appKey);

// True once qdx_start started the SDK; otherwise logs that function needs
// it.
bool started(const char* function);

}  // namespace qdx::capi
