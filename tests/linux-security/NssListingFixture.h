// SPDX-License-Identifier: MIT
#pragma once

#include "NssDirectory.h"
#include "platform/linux/security/NssSecurity.h"

#include <gtest/gtest.h>
#include <string>

class NssListing : public testing::Test {
protected:
    NssDirectory directory;
    ScriptedUserInterface userInterface;

    std::string message(platform::NssSecurity& security, platform::OSStatus status) {
        return security.SecCopyErrorMessageString(status).value_or("(nothing)");
    }
};
