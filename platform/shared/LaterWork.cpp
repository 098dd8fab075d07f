// SPDX-License-Identifier: MIT
#include "platform/shared/LaterWork.h"

namespace platform {

void LaterWork::set(std::chrono::milliseconds time, WorkQueue::Work work) {
    const unsigned long turn = ++m_turn;
    if (!work) {
        return;
    }
    m_clock.postAfter(time, [this, turn, work = std::move(work)] {
        m_toMainThread([this, turn, work] {
            if (turn == m_turn) { // other work may have come while this was on its way
                work();
            }
        });
    });
}

} // namespace platform
