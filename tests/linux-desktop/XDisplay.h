// SPDX-License-Identifier: MIT
// An X server without a screen, and a user before it: windows are looked at, keys and the mouse
// button are pressed by the XTEST extension, as if by hand.
#pragma once

#include "tests/linux-desktop/Daemon.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class XDisplay {
public:
    using WindowId = unsigned long;

    struct Image {
        int width = 0;
        int height = 0;
        std::vector<std::uint32_t> pixels; // 0x00RRGGBB, row by row
        friend bool operator==(const Image&, const Image&) = default;
    };

    /// On a display number that is free.
    XDisplay();
    XDisplay(const XDisplay&) = delete;
    XDisplay& operator=(const XDisplay&) = delete;
    ~XDisplay();

    /// The value of DISPLAY.
    const std::string& name() const { return m_name; }

    /// The program's window; its dialog, once that has the keyboard. `after` is a dialog that has
    /// been answered. Nothing when the time is over.
    std::optional<WindowId> waitForMainWindow();
    std::optional<WindowId> waitForDialog(WindowId after = 0);
    bool isThere(WindowId window);
    bool hasKeyboard(WindowId window);
    std::string title(WindowId window);
    /// Windows that can be seen, the front one last; without the frames of a window manager.
    std::vector<WindowId> visibleWindows();
    /// The window with its frame, if there is a window manager.
    WindowId frameOf(WindowId window);
    bool hasWindowManager();

    /// Gives the keyboard to a window, as clicking its title bar does.
    void focus(WindowId window);
    /// Presses one key, by its name in X ("Return", "Escape", "Tab", "a", "A").
    void pressKey(const std::string& key, const std::vector<std::string>& modifiers = {});
    void type(const std::string& text);
    /// Clicks at a point of the window; negative numbers count from its right or lower edge.
    void click(WindowId window, int x, int y);
    /// Presses the close button that a window manager shows.
    void closeByTitleBar(WindowId window);
    /// Copies what is selected (by Ctrl+C) and returns it; nothing when nothing gets copied.
    std::optional<std::string> copiedText();

    /// A window of another program, in front of all and with the keyboard.
    WindowId coverAll();
    void uncover(WindowId cover);
    Image imageOf(WindowId window);

private:
    struct Connection;

    std::optional<WindowId> waitForWindow(bool isDialog, WindowId after);
    void key(const std::string& name, bool isDown);
    std::optional<std::string> selection();

    Daemon m_server;
    std::string m_name;
    std::unique_ptr<Connection> m_connection;
};
