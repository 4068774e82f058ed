// The pointer of the panel's bench, as one X client so that no tool's start-up is in a figure:
//
//   sorix_pointer click X Y TITLE [TIMEOUT_MS]
//       clicks there and prints the milliseconds until a window of that title is mapped (the
//       panel, after a click on the tray icon), or fails after TIMEOUT_MS (default 3000)
//   sorix_pointer drag FROM_X TO_X Y SECONDS RATE
//       presses at FROM_X and moves back and forth between the two points at RATE motion
//       events a second for SECONDS, then releases
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace {

// Whether the window, or one of the windows in it (a window manager's frame holds the client),
// carries the title.
bool holdsTitle(Display* display, Window window, const char* title, int depth = 0) {
    char* name = nullptr;
    if (XFetchName(display, window, &name) != 0 && name != nullptr) {
        const bool match = std::strcmp(name, title) == 0;
        XFree(name);
        if (match) return true;
    }
    if (depth >= 3) return false;
    Window root = 0;
    Window parent = 0;
    Window* children = nullptr;
    unsigned count = 0;
    if (XQueryTree(display, window, &root, &parent, &children, &count) == 0) return false;
    bool found = false;
    for (unsigned i = 0; i < count && !found; ++i)
        found = holdsTitle(display, children[i], title, depth + 1);
    if (children != nullptr) XFree(children);
    return found;
}

int ignoreErrors(Display*, XErrorEvent*) { return 0; }  // windows come and go while we look

}  // namespace

int drag(Display* display, int fromX, int toX, int y, double seconds, double rate) {
    using Clock = std::chrono::steady_clock;
    XTestFakeMotionEvent(display, -1, fromX, y, CurrentTime);
    XTestFakeButtonEvent(display, 1, True, CurrentTime);
    XFlush(display);
    const auto start = Clock::now();
    const auto period = std::chrono::duration<double>(1.0 / rate);
    const long events = static_cast<long>(seconds * rate);
    const int stepsPerSweep = static_cast<int>(rate);  // one second from end to end
    for (long event = 1; event <= events; ++event) {
        std::this_thread::sleep_until(start + event * period);
        long phase = event % (2L * stepsPerSweep);
        if (phase > stepsPerSweep) phase = 2L * stepsPerSweep - phase;
        const int x = fromX + static_cast<int>((toX - fromX) * phase / stepsPerSweep);
        XTestFakeMotionEvent(display, -1, x, y, CurrentTime);
        XFlush(display);
    }
    XTestFakeButtonEvent(display, 1, False, CurrentTime);
    XSync(display, False);
    XCloseDisplay(display);
    return 0;
}

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    const bool clicking = mode == "click" && argc >= 5;
    const bool dragging = mode == "drag" && argc >= 7;
    if (!clicking && !dragging) {
        std::fprintf(stderr,
                     "usage: %s click X Y TITLE [TIMEOUT_MS]\n"
                     "       %s drag FROM_X TO_X Y SECONDS RATE\n",
                     argv[0], argv[0]);
        return 2;
    }
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        std::fprintf(stderr, "no display\n");
        return 1;
    }
    XSetErrorHandler(ignoreErrors);
    if (dragging)
        return drag(display, std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]),
                    std::atof(argv[5]), std::atof(argv[6]));
    const int x = std::atoi(argv[2]);
    const int y = std::atoi(argv[3]);
    const char* title = argv[4];
    const int timeoutMs = argc > 5 ? std::atoi(argv[5]) : 3000;
    const Window root = DefaultRootWindow(display);
    XSelectInput(display, root, SubstructureNotifyMask);
    XTestFakeMotionEvent(display, -1, x, y, CurrentTime);
    XSync(display, False);

    const auto clicked = std::chrono::steady_clock::now();
    XTestFakeButtonEvent(display, 1, True, CurrentTime);
    XTestFakeButtonEvent(display, 1, False, CurrentTime);
    XFlush(display);
    const auto deadline = clicked + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < deadline) {
        while (XPending(display) > 0) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type != MapNotify) continue;
            if (!holdsTitle(display, event.xmap.window, title)) continue;
            const double ms = std::chrono::duration<double, std::milli>(
                                  std::chrono::steady_clock::now() - clicked)
                                  .count();
            std::printf("%.1f\n", ms);
            XCloseDisplay(display);
            return 0;
        }
        const int fd = ConnectionNumber(display);
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        timeval wait{0, 2000};
        select(fd + 1, &readable, nullptr, nullptr, &wait);
    }
    XCloseDisplay(display);
    std::fprintf(stderr, "no window \"%s\" was mapped within %d ms\n", title, timeoutMs);
    return 1;
}
