// SPDX-License-Identifier: MIT
#include "platform/linux/net/NetworkErrorText.h"

#include "platform/linux/net/HostName.h"

#include <boost/asio/error.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/status.hpp>
#include <boost/beast/websocket/error.hpp>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

namespace platform::linux_ {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;

using boost::system::error_code;

std::string lost(const Peer& peer) {
    return "the connection to " + peer.name + " was lost";
}

std::string onPort(const Peer& peer) {
    return " on port " + std::to_string(peer.port);
}

std::string certificateText(const Peer& peer, long verifyResult) {
    const std::string subject = "certificate of " + peer.name + ' ';
    switch (verifyResult) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
        return subject + "has expired";
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return subject + "is not yet valid";
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        return subject + "is self-signed and not trusted by this computer";
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_CERT_UNTRUSTED:
    case X509_V_ERR_INVALID_CA:
        return subject + "was issued by an authority that this computer does not trust";
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
        return "certificate does not belong to " + peer.name;
    case X509_V_ERR_CERT_REVOKED:
        return subject + "has been revoked";
    case X509_V_ERR_INVALID_PURPOSE:
        return subject + "is not meant for a server";
    case X509_V_ERR_EE_KEY_TOO_SMALL:
    case X509_V_ERR_CA_KEY_TOO_SMALL:
    case X509_V_ERR_CA_MD_TOO_WEAK:
        return subject + "is too weak to be trusted";
    default:
        return subject + "is not valid (" + X509_verify_cert_error_string(verifyResult) + ')';
    }
}

std::string tlsText(const Peer& peer, const error_code& error, long verifyResult) {
    const auto code = static_cast<unsigned long>(error.value());
    switch (ERR_GET_REASON(code)) {
    case SSL_R_CERTIFICATE_VERIFY_FAILED:
        return certificateText(peer, verifyResult);
    case SSL_R_UNSUPPORTED_PROTOCOL:
    case SSL_R_WRONG_SSL_VERSION:
    case SSL_R_TLSV1_ALERT_PROTOCOL_VERSION:
        return peer.name + " does not offer TLS 1.2 or later";
    case SSL_R_WRONG_VERSION_NUMBER:
    case SSL_R_HTTP_REQUEST:
    case SSL_R_HTTPS_PROXY_REQUEST:
    case SSL_R_PACKET_LENGTH_TOO_LONG:
    case SSL_R_ENCRYPTED_LENGTH_TOO_LONG:
    case SSL_R_UNEXPECTED_MESSAGE:
    case SSL_R_BAD_RECORD_TYPE:
    case SSL_R_INVALID_ALERT:
    case SSL_R_BAD_LENGTH:
        return peer.name + " does not speak TLS" + onPort(peer);
    case SSL_R_UNEXPECTED_EOF_WHILE_READING:
        return lost(peer);
    case SSL_R_SSLV3_ALERT_HANDSHAKE_FAILURE:
    case SSL_R_TLSV1_ALERT_INSUFFICIENT_SECURITY:
        return peer.name + " and this computer have no method of encryption in common";
    case SSL_R_TLSV1_UNRECOGNIZED_NAME:
        return peer.name + " does not serve a host of this name";
    case SSL_R_TLSV13_ALERT_CERTIFICATE_REQUIRED:
    case SSL_R_PEER_DID_NOT_RETURN_A_CERTIFICATE:
        return peer.name + " asks for a certificate of this computer, and there is none";
    case SSL_R_DH_KEY_TOO_SMALL:
        return "the encryption of " + peer.name + " is too weak to be trusted";
    default: {
        const char* reason = ERR_reason_error_string(code);
        return "no TLS connection to " + peer.name + " could be made ("
            + (reason != nullptr ? reason : error.message()) + ')';
    }
    }
}

bool isLoss(const error_code& error) {
    return error == asio::error::eof || error == asio::error::connection_reset
        || error == asio::error::connection_aborted || error == asio::error::broken_pipe
        || error == asio::error::not_connected || error == asio::error::operation_aborted
        || error == asio::error::bad_descriptor || error == asio::ssl::error::stream_truncated
        || error == beast::http::error::end_of_stream
        || error == beast::http::error::partial_message;
}

std::string systemText(const Peer& peer, const error_code& error) {
    if (error == asio::error::host_not_found || error == asio::error::no_data) {
        return "name " + peer.name + " could not be found";
    }
    if (error == asio::error::host_not_found_try_again || error == asio::error::no_recovery) {
        return "name " + peer.name
            + " could not be looked up, as no name server answered: is this computer online?";
    }
    if (error == asio::error::connection_refused) {
        return peer.name + " refused the connection" + onPort(peer);
    }
    if (error == asio::error::network_unreachable || error == asio::error::host_unreachable
        || error == asio::error::network_down || error == asio::error::address_family_not_supported
        || error == boost::system::errc::address_not_available) {
        return peer.name + " cannot be reached from this computer: is it online?";
    }
    if (error == asio::error::access_denied || error == asio::error::no_permission) {
        return "this computer does not permit a connection to " + peer.name + onPort(peer);
    }
    if (error == asio::error::no_descriptors || error == asio::error::no_memory) {
        return "this computer has no resources left for a connection to " + peer.name;
    }
    return "the connection to " + peer.name + " failed (" + error.message() + ')';
}

std::string closeCodeText(unsigned code) {
    switch (code) {
    case 1001:
        return "it is going away";
    case 1002:
        return "protocol error";
    case 1003:
        return "data of a kind that it does not accept";
    case 1007:
        return "data that it cannot read";
    case 1008:
        return "against its policy";
    case 1009:
        return "message too big";
    case 1010:
        return "it needs an extension";
    case 1011:
        return "internal error of the server";
    case 1012:
        return "it is restarting";
    case 1013:
        return "it is overloaded, try again later";
    default:
        return "code " + std::to_string(code);
    }
}

} // namespace

std::string durationText(std::chrono::milliseconds duration) {
    const auto count = duration.count();
    std::string text = std::to_string(count / 1000);
    if (count % 1000 != 0) {
        const std::string thousandths = std::to_string(1000 + count % 1000).substr(1);
        text += '.' + thousandths.substr(0, thousandths.find_last_not_of('0') + 1);
    }
    return text + (text == "1" ? " second" : " seconds");
}

std::string statusText(unsigned status) {
    const auto words = beast::http::obsolete_reason(beast::http::int_to_status(status));
    const std::string text = "status " + std::to_string(status);
    const bool known = beast::http::int_to_status(status) != beast::http::status::unknown;
    return known ? text + " (" + std::string(words) + ')' : text;
}

std::string serverCloseText(unsigned code, std::string_view reason) {
    std::string text = "the server closed the connection";
    if (code > 1000 && code != 1005) {
        text += " (" + closeCodeText(code) + ')';
    }
    return reason.empty() ? text : text + ": " + singleLine(reason);
}

std::string networkErrorText(const Peer& peer, const error_code& error, long verifyResult) {
    if (error == beast::error::timeout || error == asio::error::timed_out) {
        return peer.name + " did not answer within " + durationText(peer.limit);
    }
    if (isLoss(error)) {
        return lost(peer);
    }
    if (error.category() == asio::error::get_ssl_category()) {
        return tlsText(peer, error, verifyResult);
    }
    if (error == beast::http::error::body_limit) {
        return peer.name + " sent an answer that is too long";
    }
    const auto& httpCategory = beast::http::make_error_code(beast::http::error::bad_version);
    if (error.category() == httpCategory.category()) {
        return peer.name + " does not answer as a web server does (" + error.message() + ')';
    }
    const auto& socketCategory
        = beast::websocket::make_error_code(beast::websocket::error::bad_opcode);
    if (error.category() == socketCategory.category()) {
        return peer.name + " broke the WebSocket protocol (" + error.message() + ')';
    }
    return systemText(peer, error);
}

} // namespace platform::linux_
