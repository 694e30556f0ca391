/* The SDK's C interface, for hosts that cannot bind C++: engine plugins
 * (Unity's P/Invoke), Kotlin/JNI, Swift, Rust, Python's ctypes, or a C++
 * host that wants no compiler or standard-library coupling with the SDK.
 * It compiles as C11, carries no C++ types, and is exported from the shared
 * library (libqdx.so) next to the C++ API.
 *
 * A session: set the platform settings, create an overlay (the SDK's
 * window, drawn into the host's pixels), set the callbacks, qdx_start, ask
 * for ads, and each frame call qdx_pump, draw the overlay when it needs
 * display, and feed it the pointer. Call qdx_background when the app leaves
 * the foreground.
 *
 * Threads. "Main thread" below is the process main thread (the thread that
 * entered main()): the SDK's views, its main queue and its timers live
 * there. A function marked "main thread" called from any other thread
 * does nothing and returns QDX_ERROR_THREAD (or NULL, or a negative value,
 * as it says). Functions marked "any thread" are safe everywhere.
 *
 * Errors. No function throws, aborts or crashes on a bad argument: a NULL
 * or invalid argument gives the error return the function names and a
 * debug log line (seen once qdx_set_debug(1) is on). Strings passed in are
 * copied before the call returns; strings passed out (qdx_version, the
 * arguments of callbacks) belong to the SDK and are valid only for the
 * call, except qdx_version's, which lives as long as the library.
 */
#ifndef QDX_QDX_H_
#define QDX_QDX_H_

#include <stdint.h>

#include "qdx/QDXExport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Raised whenever a change would break a host built against an earlier
 * version of this header (a removed or changed function, type or layout). */
#define QDX_ABI_VERSION 1

/* Results of the functions that return int, unless a function says
 * otherwise. */
enum {
  QDX_OK = 0,
  QDX_ERROR_ARGUMENT = -1, /* a NULL or invalid argument */
  QDX_ERROR_THREAD = -2,   /* a main-thread function called from another thread */
  QDX_ERROR_STATE = -3,    /* qdx_start not called yet, or called a second time */
  QDX_ERROR_INTERNAL = -4  /* the SDK failed inside; a debug line says why */
};

/* The library's version string, "1.0.2"; never NULL. Any thread. */
QDX_EXPORT const char* qdx_version(void);
/* QDX_ABI_VERSION of the built library: a host compares it with the header
 * it was compiled against before anything else. Any thread. */
QDX_EXPORT int qdx_abi_version(void);

/* ---- Platform settings: call them before qdx_start (see qdx/PosixPlatform.h).
 * Any thread. A NULL string changes nothing (debug line). Each starts from
 * its QDX_* environment variable, read when the platform is first used. */

/* The app's home: its documents, caches and local store (QDX_HOME). */
QDX_EXPORT void qdx_set_home_directory(const char* path);
/* The keychain database's folder, outside the app's home (QDX_KEYCHAIN_DIR). */
QDX_EXPORT void qdx_set_keychain_directory(const char* path);
/* The data-network code: 0 none (nothing is sent; reports wait for a later
 * start), 1-4 cellular kinds, 5 Wi-Fi (QDX_NETWORK, default 5). A code
 * above 5 changes nothing (debug line). */
QDX_EXPORT void qdx_set_network(unsigned code);
/* A PEM CA bundle, then the only one trusted for HTTPS; "" restores the
 * system's store (QDX_CA_FILE). */
QDX_EXPORT void qdx_set_ca_file(const char* path);
/* Comma-separated HOST:PORT:CONNECT-HOST:CONNECT-PORT mappings, so a local
 * or staging server stands in for the SDK's API host; "" clears them
 * (QDX_CONNECT_TO). */
QDX_EXPORT void qdx_set_connect_to(const char* mappings);
/* What opening a store link does: open(user, url) returns nonzero when it
 * opened the link. Called on the main thread, inside qdx_overlay_pointer
 * (a tap) or qdx_pump. NULL restores the default (the link is logged, and
 * started with the program QDX_OPEN_URL_COMMAND names, if any). */
QDX_EXPORT void qdx_set_open_url_handler(int (*open)(void* user, const char* url), void* user);
/* Where the SDK's log lines go, one line per call without its newline, from
 * any thread (the sink must be thread-safe). NULL restores the default,
 * standard error. */
QDX_EXPORT void qdx_set_log_sink(void (*sink)(void* user, const char* line), void* user);
/* Switches the SDK's diagnostic lines on (nonzero) or off (0, the start). */
QDX_EXPORT void qdx_set_debug(int on);
/* The app's bundle identifier (QDX_BUNDLE_ID) and version (QDX_APP_VERSION),
 * as the SDK reports them to the server. */
QDX_EXPORT void qdx_set_bundle_identifier(const char* id);
QDX_EXPORT void qdx_set_app_version(const char* version);
/* Where the interface files of custom slots 8 and 9 ("QDXListItemAdView",
 * "QDXBannerListItemAdView") and their images live (QDX_BUNDLE_DIR). */
QDX_EXPORT void qdx_set_bundle_directory(const char* path);

/* ---- What the host hears. Every member may be NULL (that event is not
 * reported); user is passed back unchanged.
 *   loaded, no_ad, showed: on the background thread of the request that
 *     brought the ad list (a thread the SDK starts); loaded also follows a
 *     custom slot's list, on that slot's worker thread. no_ad's code is
 *     -4102; loaded follows it.
 *   clicked, closed: on the main thread, inside qdx_overlay_pointer (the tap
 *     or the close button) or qdx_pump.
 *   showed, closed: ad_type 1 (banner) or 4 (recommend wall); sizes in points.
 * A callback may call any function its thread allows. */
typedef struct qdx_callbacks {
  void* user;
  void (*loaded)(void* user);
  void (*no_ad)(void* user, long code);
  void (*clicked)(void* user);
  void (*showed)(void* user, int32_t ad_type, float width, float height);
  void (*closed)(void* user, int32_t ad_type, float width, float height);
} qdx_callbacks;
/* Sets the callbacks (copied; NULL clears them all). A callback already
 * running on another thread finishes with the old set. Any thread. */
QDX_EXPORT void qdx_set_callbacks(const qdx_callbacks* callbacks);

/* ---- The overlay: the SDK's window, which the host draws and feeds.
 * It is a root view controller on a transparent view, in a window that
 * becomes the application delegate's window (where the recommend wall and
 * the SDK's alerts are presented), shown by a surface at scale pixels per
 * point. Creating it sets the main screen to its size and scale, since
 * banner geometry and the portrait check follow the main screen. All
 * overlay functions: main thread. */
typedef struct qdx_overlay qdx_overlay;

/* A width x height point overlay at scale pixels per point; NULL when a
 * number is not positive and finite, a side exceeds 16384 pixels, or the
 * call is off the main thread. The host owns it: qdx_overlay_destroy. */
QDX_EXPORT qdx_overlay* qdx_overlay_create(double width_points, double height_points,
                                           double scale);
/* Takes the overlay's views off screen and frees it; slot loads still in
 * flight then report done(user, slot, 0). NULL does nothing. */
QDX_EXPORT void qdx_overlay_destroy(qdx_overlay* overlay);
/* Its size in pixels (points x scale, rounded); -1 for NULL. */
QDX_EXPORT int qdx_overlay_pixel_width(const qdx_overlay* overlay);
QDX_EXPORT int qdx_overlay_pixel_height(const qdx_overlay* overlay);
/* 1 when something on screen changed since the last draw (or nothing was
 * drawn yet), 0 when not, -1 for NULL. */
QDX_EXPORT int qdx_overlay_needs_display(const qdx_overlay* overlay);

enum { QDX_FORMAT_BGRA8_PREMULTIPLIED = 0, QDX_FORMAT_RGBA8_PREMULTIPLIED = 1 };
/* Draws what changed since the last draw into pixels: pixel_height rows of
 * stride bytes, each starting with pixel_width pixels of four bytes in
 * format, colour premultiplied by alpha. Where no view draws the pixels
 * are transparent (0, 0, 0, 0), so the overlay lies over the host's own
 * scene. The first draw, and a draw into another buffer (address, stride,
 * format), redraws everything; otherwise the buffer must still hold what
 * the last draw left. Returns how many rectangles were redrawn (0: nothing
 * changed), or -1 for a NULL overlay or buffer, a stride below
 * pixel_width * 4 or an unknown format (nothing is drawn then). The
 * buffer stays the host's. */
QDX_EXPORT int qdx_overlay_draw(qdx_overlay* overlay, uint8_t* pixels, int stride, int format);

typedef struct qdx_rect { int x, y, width, height; } qdx_rect; /* pixels */
/* The rectangles the last draw redrew: returns how many there are, writing
 * at most max of them into rects (which may be NULL when max is 0); -1 for
 * a NULL overlay, a negative max, or NULL rects with max > 0. */
QDX_EXPORT int qdx_overlay_damage(const qdx_overlay* overlay, qdx_rect* rects, int max);

enum { QDX_POINTER_DOWN = 0, QDX_POINTER_MOVE = 1, QDX_POINTER_UP = 2, QDX_POINTER_CANCEL = 3 };
/* One pointer event at (x, y) in overlay points; seconds on a monotonic
 * clock, the same for every event (CANCEL ignores x, y and seconds: the
 * host lost the pointer). Returns 1 when the SDK's views took the event
 * (the host then ignores it), 0 when not (outside every ad view, on the
 * overlay's transparent area, or a time earlier than the last event's),
 * -1 for a NULL overlay, an unknown kind or a coordinate or time that is
 * not finite. A tap runs the ad's tap flow before this returns: clicked,
 * then the store link through the open-URL handler. */
QDX_EXPORT int qdx_overlay_pointer(qdx_overlay* overlay, int kind, double x, double y,
                                   double seconds);

/* ---- The session. */

/* Starts the SDK (QDXAD::initWithChannel): stores the app's identity,
 * starts a use-time period and a 0.5-second timer on the main queue, and,
 * when online, registers the device and re-sends what earlier runs left
 * unreported. channel "" means "AppStore". Returns QDX_OK,
 * QDX_ERROR_ARGUMENT (NULL channel or app_key), QDX_ERROR_THREAD,
 * QDX_ERROR_STATE (already started) or QDX_ERROR_INTERNAL. Main thread. */
QDX_EXPORT int qdx_start(const char* channel, int64_t app_id, const char* app_key);
/* Asks for a banner in the overlay: banner_type 1 at margin_top from the
 * top, 2 centred, any other type margin_bottom above the bottom; its
 * height is the overlay's width * 110 / 720. Returns at once (QDX_OK):
 * the list is fetched on a background thread, the banner is placed during
 * a later qdx_pump, and showed (or no_ad) says how it went. The SDK refuses
 * a request on a screen that is not taller than wide (debug line, no
 * callback). Also QDX_ERROR_ARGUMENT (NULL overlay, a margin that is not
 * finite), QDX_ERROR_THREAD, QDX_ERROR_STATE (not started). Main thread. */
QDX_EXPORT int qdx_request_banner(qdx_overlay* overlay, int32_t banner_type, float margin_top,
                                  float margin_bottom);
/* Asks for the full-screen recommend wall over the overlay, which becomes
 * the application delegate's window. Returns as qdx_request_banner does;
 * the wall slides in during later pumps and showed says when it is up.
 * Main thread. */
QDX_EXPORT int qdx_request_wall(qdx_overlay* overlay);

/* Custom slots (ad_type 7 native banner, 8 text list item, 9 image-and-text
 * list item). Returns at once with a slot id (> 0, or -1 on bad arguments:
 * NULL overlay, another type, a frame that is not finite or an empty size,
 * not started, off the main thread). The load runs on a worker thread,
 * because the loader blocks on the network (and it needs the main queue to
 * be pumped meanwhile to build the views). The view is placed in the
 * overlay at the frame given in points during a later qdx_pump, and
 * done(user, slot, placed) is called there: placed is 1 when a view was
 * placed, 0 when the list gave none, the slot was removed or the overlay
 * destroyed first. done is called exactly once per slot id; it may be
 * NULL. Main thread. */
QDX_EXPORT int qdx_place_slot(qdx_overlay* overlay, int32_t ad_type, double x, double y,
                              double width, double height,
                              void (*done)(void* user, int slot, int placed), void* user);
/* Moves a slot's view (or, while it loads, the frame it will get).
 * QDX_OK, or QDX_ERROR_ARGUMENT for a NULL overlay, a slot not in it or a
 * frame as qdx_place_slot refuses. Main thread. */
QDX_EXPORT int qdx_move_slot(qdx_overlay* overlay, int slot, double x, double y, double width,
                             double height);
/* Takes a slot's view off the overlay and forgets the slot; a load in
 * flight then places nothing. QDX_OK, or QDX_ERROR_ARGUMENT for a NULL
 * overlay or a slot not in it. Main thread. */
QDX_EXPORT int qdx_remove_slot(qdx_overlay* overlay, int slot);

/* The app leaves the foreground: ends the current use-time period
 * (QDXAD::sdkTerminate). The period's use-time report is sent before this
 * returns, so it blocks for that post (at most the request time-out, 10 s;
 * at once when offline): call it where a short wait is acceptable. The
 * next timer tick that finds the app active starts a new period. Any
 * thread. */
QDX_EXPORT void qdx_background(void);

/* What qdx_pump returns when no timer or animation step is scheduled. */
#define QDX_PUMP_NOTHING_SCHEDULED 86400.0
/* Serves the SDK's main queue on the calling thread (the process main
 * thread) for max_seconds, as RunLoop::runFor does (0: only what is due now,
 * without waiting); returns the seconds until its next timer or animation
 * step (0 when work is queued; QDX_PUMP_NOTHING_SCHEDULED when none), or -1
 * off the main thread or for a max_seconds that is negative or not finite. */
QDX_EXPORT double qdx_pump(double max_seconds);
/* Sets the function called, from any thread, whenever work is posted to the
 * main queue or a timer is added, so a host sleeping in its own loop wakes
 * and pumps. It must be quick and must not call into the SDK. NULL removes
 * it. Any thread. */
QDX_EXPORT void qdx_set_wake_handler(void (*wake)(void* user), void* user);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* QDX_QDX_H_ */
