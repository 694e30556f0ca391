#pragma once
// The kit is main-thread only. Its entry points (view tree changes, setters
// that change what is drawn, presentation, rendering) state that with
// QDX_KIT_MAIN_THREAD("View::addSubview"): in a debug build a call from any
// other thread stops the process with a message that names the call, so a
// flow that forgot to marshal to the main queue fails where it happens
// instead of racing the renderer. Release builds (NDEBUG) check nothing.

namespace qdx::kit {

// Aborts, naming call, unless running on the process main thread.
void assertMainThread(const char* call);

}  // namespace qdx::kit

#ifdef NDEBUG
#define QDX_KIT_MAIN_THREAD(call) ((void)0)
#else
#define QDX_KIT_MAIN_THREAD(call) ::qdx::kit::assertMainThread(call)
#endif
