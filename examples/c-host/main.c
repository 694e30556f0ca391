/* A C host: it starts the SDK, asks for a banner at the bottom of its
 * screen, serves the SDK's main queue, draws the overlay into its own
 * pixels, taps the banner and prints every callback. Only qdx/qdx.h and the
 * qdx library are used.
 *
 *   qdx-c-host [HOME]   HOME: where the SDK keeps this app's files
 *   qdx-c-host --check  prints the library's version and ABI, and exits
 *
 * The device settings start from the QDX_* environment variables
 * (QDX_CA_FILE and QDX_CONNECT_TO point it at a test server); see
 * qdx/qdx.h. */
#define _POSIX_C_SOURCE 200809L

#include <qdx/qdx.h>

#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { kWidth = 375, kHeight = 667, kScale = 2 };

/* What the callbacks saw. showed arrives on an SDK thread, hence atomics. */
typedef struct host_state {
  atomic_int showed;
  atomic_int clicked;
} host_state;

static double now_seconds(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return (double)t.tv_sec + (double)t.tv_nsec / 1e9;
}

static void on_loaded(void* user) {
  (void)user;
  printf("c-host: loaded\n");
  fflush(stdout);
}

static void on_no_ad(void* user, long code) {
  (void)user;
  printf("c-host: no ad (%ld)\n", code);
  fflush(stdout);
}

static void on_clicked(void* user) {
  printf("c-host: clicked\n");
  fflush(stdout);
  atomic_store(&((host_state*)user)->clicked, 1);
}

static void on_showed(void* user, int32_t ad_type, float width, float height) {
  printf("c-host: showed type %d, %.0f x %.0f points\n", (int)ad_type, width, height);
  fflush(stdout);
  atomic_store(&((host_state*)user)->showed, 1);
}

static void on_closed(void* user, int32_t ad_type, float width, float height) {
  (void)user;
  printf("c-host: closed type %d, %.0f x %.0f points\n", (int)ad_type, width, height);
  fflush(stdout);
}

/* A store link: a real host opens a browser; this one prints it. */
static int open_url(void* user, const char* url) {
  (void)user;
  printf("c-host: store link %s\n", url);
  fflush(stdout);
  return 1;
}

/* Serves the SDK until *flag is set or timeout seconds pass. */
static int pump_until(atomic_int* flag, double timeout) {
  const double end = now_seconds() + timeout;
  while (!atomic_load(flag) && now_seconds() < end) qdx_pump(0.02);
  return atomic_load(flag);
}

int main(int argc, char** argv) {
  if (qdx_abi_version() != QDX_ABI_VERSION) {
    fprintf(stderr, "c-host: built for ABI %d, the library has %d\n", QDX_ABI_VERSION,
            qdx_abi_version());
    return 1;
  }
  if (argc > 1 && strcmp(argv[1], "--check") == 0) {
    printf("c-host: qdx %s, ABI %d\n", qdx_version(), qdx_abi_version());
    return 0;
  }
  if (argc > 1) {
    char keychain[4096];
    snprintf(keychain, sizeof keychain, "%s/keychain", argv[1]);
    qdx_set_home_directory(argv[1]);
    qdx_set_keychain_directory(keychain);
  }
  qdx_set_open_url_handler(open_url, NULL);

  /* The SDK's window over the host's scene, at 2 pixels per point. */
  qdx_overlay* overlay = qdx_overlay_create(kWidth, kHeight, kScale);
  if (overlay == NULL) return 1;

  static host_state state;
  qdx_callbacks callbacks = {&state, on_loaded, on_no_ad, on_clicked, on_showed, on_closed};
  qdx_set_callbacks(&callbacks);
  if (qdx_start("AppStore", 10001, "QDXDemoAppKey2016") != QDX_OK) return 1;
  printf("c-host: SDK %s started\n", qdx_version());

  /* A banner 10 points above the bottom of the screen (banner type 3). */
  qdx_request_banner(overlay, 3, 0, 10);
  if (!pump_until(&state.showed, 20)) {
    fprintf(stderr, "c-host: no banner came\n");
    return 1;
  }
  qdx_pump(0.3); /* the banner's views and images arrive on the main queue */

  /* A frame: the host would upload the damaged rectangles to its texture. */
  const int width = qdx_overlay_pixel_width(overlay), height = qdx_overlay_pixel_height(overlay);
  uint8_t* pixels = calloc((size_t)width * (size_t)height, 4);
  if (pixels == NULL) return 1;
  const int redrawn = qdx_overlay_draw(overlay, pixels, width * 4, QDX_FORMAT_BGRA8_PREMULTIPLIED);
  qdx_rect first;
  if (redrawn > 0 && qdx_overlay_damage(overlay, &first, 1) > 0) {
    printf("c-host: drew %d rectangle(s) into %d x %d pixels, the first %d x %d\n", redrawn, width,
           height, first.width, first.height);
  }

  /* A tap in the middle of the banner: its height is the width * 110 / 720. */
  const double banner_height = kWidth * 110.0 / 720.0;
  const double x = kWidth / 2.0, y = kHeight - 10 - banner_height / 2;
  const double t = now_seconds();
  const int down = qdx_overlay_pointer(overlay, QDX_POINTER_DOWN, x, y, t);
  const int up = qdx_overlay_pointer(overlay, QDX_POINTER_UP, x, y, t + 0.05);
  printf("c-host: the overlay %s the tap\n", down == 1 && up == 1 ? "took" : "did not take");
  pump_until(&state.clicked, 5);

  qdx_background(); /* the app leaves the foreground */
  qdx_pump(0.2);
  free(pixels);
  qdx_overlay_destroy(overlay);
  return atomic_load(&state.clicked) ? 0 : 1;
}
