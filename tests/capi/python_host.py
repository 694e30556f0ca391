"""A Python host of the C interface, through ctypes and nothing else.

Drives one session against the server that QDX_CA_FILE and QDX_CONNECT_TO
name: a bottom banner, drawn and tapped; the recommend wall, dragged to its
second page; then qdx_background. Prints each callback as it comes and
exits non-zero at the first expectation that does not hold.

    python3 python_host.py LIBRARY HOME
"""
import ctypes
import sys
import threading
import time

WIDTH, HEIGHT, SCALE = 375.0, 667.0, 2.0
POINTER_DOWN, POINTER_MOVE, POINTER_UP = 0, 1, 2
FORMAT_BGRA8 = 0

LOADED = ctypes.CFUNCTYPE(None, ctypes.c_void_p)
NO_AD = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_long)
CLICKED = ctypes.CFUNCTYPE(None, ctypes.c_void_p)
SHOWED = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_int32, ctypes.c_float, ctypes.c_float)
CLOSED = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_int32, ctypes.c_float, ctypes.c_float)


class Callbacks(ctypes.Structure):
    _fields_ = [("user", ctypes.c_void_p), ("loaded", LOADED), ("no_ad", NO_AD),
                ("clicked", CLICKED), ("showed", SHOWED), ("closed", CLOSED)]


def bind(library):
    """Declares the signatures this host calls."""
    qdx = ctypes.CDLL(library)
    overlay = ctypes.c_void_p
    signatures = {
        "qdx_abi_version": (ctypes.c_int, []),
        "qdx_version": (ctypes.c_char_p, []),
        "qdx_set_home_directory": (None, [ctypes.c_char_p]),
        "qdx_set_keychain_directory": (None, [ctypes.c_char_p]),
        "qdx_set_callbacks": (None, [ctypes.POINTER(Callbacks)]),
        "qdx_overlay_create": (overlay, [ctypes.c_double] * 3),
        "qdx_overlay_destroy": (None, [overlay]),
        "qdx_overlay_pixel_width": (ctypes.c_int, [overlay]),
        "qdx_overlay_pixel_height": (ctypes.c_int, [overlay]),
        "qdx_overlay_draw": (ctypes.c_int, [overlay, ctypes.c_void_p, ctypes.c_int, ctypes.c_int]),
        "qdx_overlay_pointer": (ctypes.c_int, [overlay, ctypes.c_int] + [ctypes.c_double] * 3),
        "qdx_start": (ctypes.c_int, [ctypes.c_char_p, ctypes.c_int64, ctypes.c_char_p]),
        "qdx_request_banner": (ctypes.c_int, [overlay, ctypes.c_int32, ctypes.c_float, ctypes.c_float]),
        "qdx_request_wall": (ctypes.c_int, [overlay]),
        "qdx_background": (None, []),
        "qdx_pump": (ctypes.c_double, [ctypes.c_double]),
    }
    for name, (result, arguments) in signatures.items():
        function = getattr(qdx, name)
        function.restype = result
        function.argtypes = arguments
    return qdx


def expect(condition, what):
    if not condition:
        print("python-host: FAILED: " + what, flush=True)
        sys.exit(1)


def main():
    library, home = sys.argv[1], sys.argv[2]
    qdx = bind(library)
    expect(qdx.qdx_abi_version() == 1, "the library's ABI is 1")
    qdx.qdx_set_home_directory(home.encode())
    qdx.qdx_set_keychain_directory((home + "/keychain").encode())

    heard = []
    lock = threading.Lock()
    main_thread = threading.get_ident()

    def note(call):
        with lock:
            heard.append((call, threading.get_ident() == main_thread))
        print("python-host: " + call, flush=True)

    def heard_call(prefix):
        with lock:
            return [on_main for call, on_main in heard if call.startswith(prefix)]

    # The callbacks must stay referenced while the SDK may call them.
    callbacks = Callbacks(None, LOADED(lambda user: note("loaded")),
                          NO_AD(lambda user, code: note("no ad %d" % code)),
                          CLICKED(lambda user: note("clicked")),
                          SHOWED(lambda user, kind, w, h: note("showed %d %.0fx%.0f" % (kind, w, h))),
                          CLOSED(lambda user, kind, w, h: note("closed %d" % kind)))
    qdx.qdx_set_callbacks(ctypes.byref(callbacks))

    overlay = qdx.qdx_overlay_create(WIDTH, HEIGHT, SCALE)
    expect(overlay, "an overlay")
    expect(qdx.qdx_start(b"AppStore", 10001, b"QDXDemoAppKey2016") == 0, "the SDK starts")

    def pump_until(prefix, seconds=20.0):
        end = time.monotonic() + seconds
        while not heard_call(prefix) and time.monotonic() < end:
            qdx.qdx_pump(0.02)
        return bool(heard_call(prefix))

    # The banner: shown, drawn into our pixels, tapped.
    expect(qdx.qdx_request_banner(overlay, 3, 0.0, 10.0) == 0, "the banner request is taken")
    expect(pump_until("showed 1"), "the banner is shown")
    expect(heard_call("showed 1") == [False], "showed comes on an SDK thread")
    qdx.qdx_pump(0.3)
    width, height = qdx.qdx_overlay_pixel_width(overlay), qdx.qdx_overlay_pixel_height(overlay)
    pixels = (ctypes.c_uint8 * (width * height * 4))()
    expect(qdx.qdx_overlay_draw(overlay, pixels, width * 4, FORMAT_BGRA8) > 0, "a first draw")
    banner_y = HEIGHT - 10 - WIDTH * 110 / 720 / 2
    alpha = pixels[(int(banner_y * SCALE) * width + int(WIDTH * SCALE / 2)) * 4 + 3]
    expect(alpha > 0, "the banner is drawn")
    expect(pixels[(200 * width + 100) * 4 + 3] == 0, "the rest is transparent")
    now = time.monotonic()
    expect(qdx.qdx_overlay_pointer(overlay, POINTER_DOWN, WIDTH / 2, banner_y, now) == 1, "down")
    expect(qdx.qdx_overlay_pointer(overlay, POINTER_UP, WIDTH / 2, banner_y, now + 0.05) == 1, "up")
    expect(heard_call("clicked") == [True], "clicked comes inside the tap, on the main thread")

    # The wall: shown, then dragged one page on.
    expect(qdx.qdx_request_wall(overlay) == 0, "the wall request is taken")
    expect(pump_until("showed 4"), "the wall is shown")
    qdx.qdx_pump(0.8)  # the presentation's animation
    now = time.monotonic()
    expect(qdx.qdx_overlay_pointer(overlay, POINTER_DOWN, 320, 300, now) == 1, "the drag starts")
    for step in range(1, 9):
        now += 0.02
        qdx.qdx_overlay_pointer(overlay, POINTER_MOVE, 320 - step * 32, 300, now)
    expect(qdx.qdx_overlay_pointer(overlay, POINTER_UP, 64, 300, now + 0.02) == 1, "the drag ends")
    qdx.qdx_pump(1.0)  # the page settles and its show is reported
    qdx.qdx_overlay_draw(overlay, pixels, width * 4, FORMAT_BGRA8)

    qdx.qdx_background()
    qdx.qdx_pump(0.3)
    qdx.qdx_overlay_destroy(overlay)
    print("python-host: done", flush=True)


if __name__ == "__main__":
    main()
