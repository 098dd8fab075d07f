// SPDX-License-Identifier: MIT
#pragma once

#include "ZqMacClient/AppDelegate.h"
#include "ZqMacClient/ViewController.h"
#include "platform/Platform.h"

#include <memory>

/// The main interface description: which objects exist when the application has loaded, and how
/// they hang together.
class MainInterface : public platform::NSApplicationDelegate {
public:
    void loadMainInterface() override {
        m_viewController = std::make_unique<ViewController>(
            platform::current().userInterface().statusTextView());
        m_viewController->viewDidLoad();
    }
    void applicationWillFinishLaunching() override {
        m_appDelegate.applicationWillFinishLaunching();
    }
    void applicationWillTerminate() override { m_appDelegate.applicationWillTerminate(); }

private:
    std::unique_ptr<ViewController> m_viewController;
    AppDelegate m_appDelegate;
};
