// SPDX-License-Identifier: MIT
#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <vector>

/// A listener whose queue is full, so that the system leaves further attempts without an answer.
class DeafListener {
public:
    DeafListener()
        : m_acceptor(m_io) {
        m_acceptor.open(boost::asio::ip::tcp::v4());
        m_acceptor.bind({boost::asio::ip::address_v4::loopback(), 0});
        m_acceptor.listen(0);
        m_fillers.reserve(4);
        for (int i = 0; i < 4; ++i) {
            m_fillers.emplace_back(m_io, boost::asio::ip::tcp::v4());
            m_fillers.back().async_connect(endpoint(), [](boost::system::error_code) {});
        }
    }

    boost::asio::ip::tcp::endpoint endpoint() const { return m_acceptor.local_endpoint(); }

private:
    boost::asio::io_context m_io;
    boost::asio::ip::tcp::acceptor m_acceptor;
    std::vector<boost::asio::ip::tcp::socket> m_fillers;
};
