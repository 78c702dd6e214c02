// Keys, certificates and versions of TLS, for the sessions of a server.
// Not the place where they are read from (web_configuration.h), nor where sessions run: that is libmicrohttpd's.
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_HTTP_TLS_H
#define EXPORTER_HTTP_TLS_H

#include <gnutls/gnutls.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace tools::exporter::http {

// How a client may, or must, show a certificate of its own.
struct ClientAuthentication {
    gnutls_certificate_request_t request = GNUTLS_CERT_IGNORE;
    bool isVerified = false;
};

struct TlsSettings {
    std::string certificate;  // PEM, as the following
    std::string key;
    std::string clientCertifiers{};  // empty: none
    ClientAuthentication clients{};
    std::string priorities{};  // in GnuTLS's words: versions and the like
};

// Certificate and key do not fit, or cannot be understood.
class BadTls : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Not changed once it is made; serves any number of sessions, which it must outlive.
class Tls {
  public:
    explicit Tls(const TlsSettings& settings);  // throws BadTls

    // Before the session's handshake. False if that is impossible.
    bool equip(gnutls_session_t session) const;

  private:
    struct Free {
        void operator()(gnutls_certificate_credentials_t credentials) const;
        void operator()(gnutls_priority_t priorities) const;
    };
    template <typename Handle>
    using Owner = std::unique_ptr<std::remove_pointer_t<Handle>, Free>;

    Owner<gnutls_certificate_credentials_t> credentials_;
    Owner<gnutls_priority_t> priorities_;
    const gnutls_certificate_request_t clientCertificate_;
};

}  // namespace tools::exporter::http

#endif
