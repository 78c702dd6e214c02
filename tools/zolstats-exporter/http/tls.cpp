// TLS by GnuTLS: credentials that are given to each session as it begins, so that the next one may have others.
// Not the place where sessions run.
// Nothing here comes from the protocol of the Gateways.
#include "tls.h"

#include <fmt/format.h>
#include <gnutls/x509.h>

#include <string_view>

namespace tools::exporter::http {
namespace {

void require(int code, std::string_view what) {
    if (code < 0) {
        throw BadTls(fmt::format("{}: {}", what, gnutls_strerror(code)));
    }
}

// GnuTLS does not write to it.
gnutls_datum_t datumOf(const std::string& text) {
    return {reinterpret_cast<unsigned char*>(const_cast<char*>(text.data())),
            static_cast<unsigned>(text.size())};
}

// Whether there must be a certificate at all, the handshake has decided before.
int verifyClient(gnutls_session_t session) {
    unsigned count = 0;
    if (gnutls_certificate_get_peers(session, &count) == nullptr || count == 0) {
        return 0;
    }
    static std::string use = GNUTLS_KP_TLS_WWW_CLIENT;
    gnutls_typed_vdata_st purpose{GNUTLS_DT_KEY_PURPOSE_OID, reinterpret_cast<unsigned char*>(use.data()), 0};
    unsigned problems = 0;
    const int code = gnutls_certificate_verify_peers(session, &purpose, 1, &problems);
    return code == 0 && problems == 0 ? 0 : GNUTLS_E_CERTIFICATE_ERROR;
}

gnutls_certificate_credentials_t newCredentials() {
    gnutls_certificate_credentials_t credentials = nullptr;
    require(gnutls_certificate_allocate_credentials(&credentials), "TLS");
    return credentials;
}

gnutls_priority_t newPriorities(const std::string& text) {
    gnutls_priority_t priorities = nullptr;
    require(gnutls_priority_init(&priorities, text.c_str(), nullptr), "Versions of TLS");
    return priorities;
}

void addKey(gnutls_certificate_credentials_t credentials, const TlsSettings& settings) {
    const auto certificate = datumOf(settings.certificate);
    const auto key = datumOf(settings.key);
    require(gnutls_certificate_set_x509_key_mem2(credentials, &certificate, &key, GNUTLS_X509_FMT_PEM,
                                                 nullptr, 0),
            "Certificate and key");
}

void addClientCertifiers(gnutls_certificate_credentials_t credentials, const std::string& certifiers) {
    const auto pem = datumOf(certifiers);
    const int count = gnutls_certificate_set_x509_trust_mem(credentials, &pem, GNUTLS_X509_FMT_PEM);
    require(count == 0 ? GNUTLS_E_NO_CERTIFICATE_FOUND : count, "Certificates of those who certify clients");
}

}  // namespace

void Tls::Free::operator()(gnutls_certificate_credentials_t credentials) const {
    gnutls_certificate_free_credentials(credentials);
}

void Tls::Free::operator()(gnutls_priority_t priorities) const {
    gnutls_priority_deinit(priorities);
}

Tls::Tls(const TlsSettings& settings)
    : credentials_(newCredentials()),
      priorities_(newPriorities(settings.priorities)),
      clientCertificate_(settings.clients.request) {
    addKey(credentials_.get(), settings);
    if (!settings.clientCertifiers.empty()) {
        addClientCertifiers(credentials_.get(), settings.clientCertifiers);
    }
    if (settings.clients.isVerified) {
        gnutls_certificate_set_verify_function(credentials_.get(), verifyClient);
    }
}

bool Tls::equip(gnutls_session_t session) const {
    gnutls_certificate_server_set_request(session, clientCertificate_);
    return gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, credentials_.get()) == GNUTLS_E_SUCCESS &&
           gnutls_priority_set(session, priorities_.get()) == GNUTLS_E_SUCCESS;
}

}  // namespace tools::exporter::http
