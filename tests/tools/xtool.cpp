// A small X client for the desktop tests and the screenshot script, so that
// they need nothing beyond Xvfb and xdotool:
//   tavrol_xtool close WINDOW       asks the window to close, as a window
//                                   manager's close button does
//   tavrol_xtool grab WINDOW FILE   writes what the window shows as a PNG
// WINDOW is a decimal or hexadecimal X window id; DISPLAY names the server.

#include <QByteArray>
#include <QImage>
#include <QString>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

struct DisplayCloser
{
    void operator()(Display* display) const { XCloseDisplay(display); }
};
using DisplayPtr = std::unique_ptr<Display, DisplayCloser>;

struct ImageDestroyer
{
    void operator()(XImage* image) const { XDestroyImage(image); }
};

// WM_DELETE_WINDOW in a WM_PROTOCOLS message: what a window manager sends.
int CloseWindow(Display* display, Window window)
{
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(display, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(display, "WM_DELETE_WINDOW", False));
    event.xclient.data.l[1] = CurrentTime;
    if (!XSendEvent(display, window, False, NoEventMask, &event))
        return 1;
    XSync(display, False);
    return 0;
}

int GrabWindow(Display* display, Window window, const QString& file)
{
    XWindowAttributes attributes{};
    if (!XGetWindowAttributes(display, window, &attributes))
        return 1;
    std::unique_ptr<XImage, ImageDestroyer> image(
        XGetImage(display, window, 0, 0, static_cast<unsigned>(attributes.width),
                  static_cast<unsigned>(attributes.height), AllPlanes, ZPixmap));
    if (!image)
        return 1;
    QImage picture(attributes.width, attributes.height, QImage::Format_RGB32);
    for (int y = 0; y < attributes.height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(picture.scanLine(y));
        for (int x = 0; x < attributes.width; ++x) {
            const unsigned long pixel = XGetPixel(image.get(), x, y);
            line[x] = qRgb(static_cast<int>((pixel & image->red_mask) >> 16),
                           static_cast<int>((pixel & image->green_mask) >> 8),
                           static_cast<int>(pixel & image->blue_mask));
        }
    }
    return picture.save(file, "PNG") ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fputs("usage: tavrol_xtool close WINDOW | grab WINDOW FILE\n", stderr);
        return 2;
    }
    DisplayPtr display(XOpenDisplay(nullptr));
    if (!display) {
        std::fputs("tavrol_xtool: cannot open the display\n", stderr);
        return 1;
    }
    const QByteArray command(argv[1]);
    const Window window = std::strtoul(argv[2], nullptr, 0);
    if (command == "close")
        return CloseWindow(display.get(), window);
    if (command == "grab" && argc >= 4)
        return GrabWindow(display.get(), window, QString::fromLocal8Bit(argv[3]));
    std::fputs("tavrol_xtool: unknown command\n", stderr);
    return 2;
}
