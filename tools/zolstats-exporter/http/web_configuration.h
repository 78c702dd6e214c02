// The ecosystem's web configuration file: TLS, users, and headers that every answer has.
// Not the exporter's own configuration (configuration.h).
// The file is described in docs/prometheus.md.
#ifndef EXPORTER_HTTP_WEB_CONFIGURATION_H
#define EXPORTER_HTTP_WEB_CONFIGURATION_H

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "passwords.h"
#include "tls.h"

namespace tools::exporter::http {

// Not changed once it is read, and used by any number of threads.
class WebConfiguration {
  public:
    using Headers = std::vector<std::pair<std::string, std::string>>;

    // With the files it names, relative ones beside it. Throws BadYaml ("yaml.h"), also for what this server cannot do:
    // nobody is to rely on a setting that does nothing.
    static std::shared_ptr<const WebConfiguration> read(const std::string& file);

    WebConfiguration() = default;  // without TLS, for everybody
    WebConfiguration(std::unique_ptr<const Tls> tls, std::unique_ptr<const Passwords> passwords,
                     Headers headers);

    const Tls* tls() const { return tls_.get(); }  // null: without TLS
    const Headers& headers() const { return headers_; }

    // By the request's header Authorization. Without users, everybody.
    bool letsIn(const std::optional<std::string>& authorization) const;

  private:
    std::unique_ptr<const Tls> tls_{};
    std::unique_ptr<const Passwords> passwords_{};
    Headers headers_{};
};

}  // namespace tools::exporter::http

#endif
