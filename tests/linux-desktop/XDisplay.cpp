// SPDX-License-Identifier: MIT
#include "tests/linux-desktop/XDisplay.h"

#include "tests/e2e/AgentProcess.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <algorithm>
#include <map>
#include <stdexcept>

struct XDisplay::Connection {
    explicit Connection(const std::string& name)
        : display(XOpenDisplay(name.c_str())) {
        if (display == nullptr) {
            throw std::runtime_error("the display cannot be opened");
        }
        // Windows of others may be gone before they are asked about.
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
        root = DefaultRootWindow(display);
        own = XCreateSimpleWindow(display, root, 0, 0, 1, 1, 0, 0, 0);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { XCloseDisplay(display); }

    Atom atom(const char* name) const { return XInternAtom(display, name, False); }
    XWindowAttributes attributes(WindowId window) const {
        XWindowAttributes attributes{};
        if (XGetWindowAttributes(display, window, &attributes) == 0) {
            attributes.map_state = IsUnmapped;
        }
        return attributes;
    }
    std::vector<WindowId> childrenOf(WindowId window) const {
        Window ignored = 0;
        Window* children = nullptr;
        unsigned int count = 0;
        XQueryTree(display, window, &ignored, &ignored, &children, &count);
        std::vector<WindowId> all(children, children + count);
        XFree(children);
        return all;
    }
    /// The program's window in a window manager's frame, which has no class; else the window.
    WindowId insideFrame(WindowId window) const {
        const auto hasClass = [this](WindowId each) {
            XClassHint hint{};
            const bool has = XGetClassHint(display, each, &hint) != 0;
            XFree(hint.res_name);
            XFree(hint.res_class);
            return has;
        };
        if (!hasClass(window)) {
            for (const WindowId child : childrenOf(window)) {
                if (hasClass(child)) {
                    return child;
                }
            }
        }
        return window;
    }

    Display* display;
    Window root = 0;
    Window own = 0; // asks for selections
};

namespace {

std::map<std::string, std::string> serverEnvironment() {
    return {{"PATH", "/usr/bin:/bin"}};
}

} // namespace

XDisplay::XDisplay()
    : m_server({"Xvfb", "-displayfd", "3", "-screen", "0", "1024x768x24", "-nolisten", "tcp"},
        serverEnvironment())
    , m_name(":" + m_server.line())
    , m_connection(std::make_unique<Connection>(m_name)) {
}

XDisplay::~XDisplay() = default;

std::vector<XDisplay::WindowId> XDisplay::visibleWindows() {
    std::vector<WindowId> visible;
    for (const WindowId window : m_connection->childrenOf(m_connection->root)) {
        const XWindowAttributes attributes = m_connection->attributes(window);
        const bool isOnScreen = attributes.x + attributes.width > 0; // window managers hide some
        if (attributes.map_state == IsViewable && attributes.c_class == InputOutput && isOnScreen) {
            visible.push_back(m_connection->insideFrame(window));
        }
    }
    return visible;
}

XDisplay::WindowId XDisplay::frameOf(WindowId window) {
    for (const WindowId frame : m_connection->childrenOf(m_connection->root)) {
        if (m_connection->insideFrame(frame) == window) {
            return frame;
        }
    }
    return window;
}

bool XDisplay::hasWindowManager() {
    int count = 0;
    Atom* properties = XListProperties(m_connection->display, m_connection->root, &count);
    const Atom told = m_connection->atom("_NET_SUPPORTING_WM_CHECK");
    const bool found = std::find(properties, properties + count, told) != properties + count;
    XFree(properties);
    return found;
}

std::optional<XDisplay::WindowId> XDisplay::waitForWindow(bool isDialog, WindowId after) {
    std::optional<WindowId> found;
    eventually([&] {
        for (const WindowId window : visibleWindows()) {
            Window owner = 0;
            const bool hasOwner
                = XGetTransientForHint(m_connection->display, window, &owner) != 0 && owner != 0;
            if (hasOwner == isDialog && window != after && (!isDialog || hasKeyboard(window))) {
                found = window;
            }
        }
        return found.has_value();
    });
    return found;
}

std::optional<XDisplay::WindowId> XDisplay::waitForMainWindow() {
    return waitForWindow(false, 0);
}

std::optional<XDisplay::WindowId> XDisplay::waitForDialog(WindowId after) {
    return waitForWindow(true, after);
}

bool XDisplay::isThere(WindowId window) {
    const auto visible = visibleWindows();
    return std::find(visible.begin(), visible.end(), window) != visible.end();
}

bool XDisplay::hasKeyboard(WindowId window) {
    Window focused = 0;
    int revert = 0;
    XGetInputFocus(m_connection->display, &focused, &revert);
    return focused == window;
}

std::string XDisplay::title(WindowId window) {
    char* name = nullptr;
    XFetchName(m_connection->display, window, &name);
    const std::string title = name == nullptr ? "" : name;
    XFree(name);
    return title;
}

void XDisplay::focus(WindowId window) {
    XSetInputFocus(m_connection->display, window, RevertToParent, CurrentTime);
    XSync(m_connection->display, False);
}

void XDisplay::key(const std::string& name, bool isDown) {
    const KeySym symbol = XStringToKeysym(name.c_str());
    const KeyCode code = XKeysymToKeycode(m_connection->display, symbol);
    if (code == 0) {
        throw std::runtime_error("no key " + name);
    }
    const bool isShifted = XkbKeycodeToKeysym(m_connection->display, code, 0, 0) != symbol;
    if (isShifted && isDown) {
        key("Shift_L", true);
    }
    XTestFakeKeyEvent(m_connection->display, code, isDown ? True : False, CurrentTime);
    if (isShifted && !isDown) {
        key("Shift_L", false);
    }
    XSync(m_connection->display, False);
}

void XDisplay::pressKey(const std::string& name, const std::vector<std::string>& modifiers) {
    for (const std::string& modifier : modifiers) {
        key(modifier, true);
    }
    key(name, true);
    key(name, false);
    for (const std::string& modifier : modifiers) {
        key(modifier, false);
    }
}

void XDisplay::type(const std::string& text) {
    for (const char c : text) {
        pressKey(std::string(1, c)); // letters and digits are named after themselves
    }
}

void XDisplay::click(WindowId window, int x, int y) {
    const XWindowAttributes at = m_connection->attributes(window);
    Window child = 0;
    int rootX = 0;
    int rootY = 0;
    XTranslateCoordinates(m_connection->display, window, m_connection->root,
        x < 0 ? at.width + x : x, y < 0 ? at.height + y : y, &rootX, &rootY, &child);
    XTestFakeMotionEvent(m_connection->display, -1, rootX, rootY, CurrentTime);
    XTestFakeButtonEvent(m_connection->display, Button1, True, CurrentTime);
    XTestFakeButtonEvent(m_connection->display, Button1, False, CurrentTime);
    XSync(m_connection->display, False);
}

void XDisplay::closeByTitleBar(WindowId window) {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = m_connection->atom("WM_PROTOCOLS");
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(m_connection->atom("WM_DELETE_WINDOW"));
    XSendEvent(m_connection->display, window, False, NoEventMask, &event);
    XSync(m_connection->display, False);
}

std::optional<std::string> XDisplay::copiedText() {
    Display* display = m_connection->display;
    const Atom clipboard = m_connection->atom("CLIPBOARD");
    // Whoever copies takes it over from here.
    XSetSelectionOwner(display, clipboard, m_connection->own, CurrentTime);
    pressKey("c", {"Control_L"});
    const bool copied = eventually([&] {
        const Window owner = XGetSelectionOwner(display, clipboard);
        return owner != m_connection->own && owner != None;
    });
    return copied ? selection() : std::nullopt;
}

/// The clipboard's text, by ICCCM's exchange.
std::optional<std::string> XDisplay::selection() {
    Display* display = m_connection->display;
    const Atom place = m_connection->atom("QUILLET_TEST");
    XConvertSelection(display, m_connection->atom("CLIPBOARD"), m_connection->atom("UTF8_STRING"),
        place, m_connection->own, CurrentTime);
    XEvent event{};
    if (!eventually([&] {
            return XCheckTypedWindowEvent(display, m_connection->own, SelectionNotify, &event)
                == True;
        })
        || event.xselection.property == None) {
        return std::nullopt;
    }
    Atom type = 0;
    int format = 0;
    unsigned long count = 0;
    unsigned long left = 0;
    unsigned char* data = nullptr;
    XGetWindowProperty(display, m_connection->own, place, 0, 1'000'000, True, AnyPropertyType,
        &type, &format, &count, &left, &data);
    std::string text(reinterpret_cast<const char*>(data), count);
    XFree(data);
    return text;
}

XDisplay::WindowId XDisplay::coverAll() {
    Display* display = m_connection->display;
    const Window cover = XCreateSimpleWindow(display, m_connection->root, 0, 0, 1024, 768, 0, 0,
        WhitePixel(display, DefaultScreen(display)));
    XMapRaised(display, cover);
    eventually([&] { return isThere(cover); });
    focus(cover);
    return cover;
}

void XDisplay::uncover(WindowId cover) {
    XDestroyWindow(m_connection->display, cover);
    XSync(m_connection->display, False);
}

XDisplay::Image XDisplay::imageOf(WindowId window) {
    const XWindowAttributes at = m_connection->attributes(window);
    Image image{at.width, at.height, {}};
    XImage* taken
        = XGetImage(m_connection->display, window, 0, 0, static_cast<unsigned int>(at.width),
            static_cast<unsigned int>(at.height), AllPlanes, ZPixmap);
    if (taken == nullptr) {
        return {};
    }
    for (int y = 0; y < at.height; ++y) {
        for (int x = 0; x < at.width; ++x) {
            image.pixels.push_back(
                static_cast<std::uint32_t>(XGetPixel(taken, x, y)) & 0x00ff'ffffU);
        }
    }
    XDestroyImage(taken);
    return image;
}
