// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace platform {

/// The place of an alert among those that agents show at the same time, for its own lifetime. They
/// tell each other on the session bus.
class AlertPlace final {
public:
    /// `identifier` begins the bus names by which places are taken.
    explicit AlertPlace(const QString& identifier);
    AlertPlace(const AlertPlace&) = delete;
    AlertPlace& operator=(const AlertPlace&) = delete;
    ~AlertPlace();

    /// 0 for the only one, and without a bus.
    int number() const { return m_number; }

private:
    QString m_name; // empty when there is none
    int m_number = 0;
};

} // namespace platform
