#include "requests.h"

#include "bytes.h"

namespace bench {
namespace {

using gateway::Writer;

constexpr std::uint32_t CALL = 1;
constexpr std::uint32_t HANDSHAKE = 5;
constexpr std::uint32_t CLOSE = 10;

constexpr std::uint32_t INITIALISE = 0;
constexpr std::uint32_t GET_ATTRIBUTE = 1;
constexpr std::uint32_t INVOKE = 5;

std::string message(std::string_view name, std::uint32_t type, std::int32_t secondStatus,
                    std::string_view body) {
    Writer out;
    out.raw("Gate").word(0x00700000U).word(type).word(0U).word(secondStatus);
    out.word(static_cast<std::uint32_t>(name.size())).raw(name).byte(0);
    return out.word(static_cast<std::uint32_t>(body.size())).raw(body).take();
}

std::string adminCall(std::uint32_t type, std::uint32_t adminId, std::string_view member,
                      std::string_view arguments) {
    Writer items;
    items.text("US").text("en").text("");
    items.text("DefaultDomain:ProdId=com.velmor.zol,Activity=Control,type=Stats").text(member);
    items.raw(arguments);
    Writer body;
    body.word(type).word(adminId).word(static_cast<std::uint32_t>(items.bytes().size())).raw(items.bytes());
    return message("Admin", CALL, 0, body.bytes());
}

}  // namespace

std::uint32_t loadWord(const char* bytes) {
    std::uint32_t word = 0;
    for (int index = 0; index < 4; ++index) {
        word = word << 8 | static_cast<unsigned char>(bytes[index]);
    }
    return word;
}

std::string handshakeRequest() {
    return message("BASE", HANDSHAKE, 0, Writer().text("en").text("GB").raw(std::string(10, '\0')).bytes());
}

std::string firstAuthRequest() {
    return message("Auth", CALL, 0, Writer().word(0U).bytes());
}

std::string secondAuthRequest(std::string_view words) {
    return message("Auth", CALL, 0, Writer().word(1U).raw(words).word(0U).bytes());
}

std::string initialiseRequest() {
    return message("Admin", CALL, 0, Writer().word(INITIALISE).bytes());
}

std::string protocolRequest(std::uint32_t adminId) {
    return adminCall(GET_ATTRIBUTE, adminId, "protocol", "");
}

std::string statisticsRequest(std::uint32_t adminId, std::string_view group) {
    Writer arguments;
    arguments.word(1U).raw(std::string_view("\xAC\xED\x00\x05\x74", 5)).text(group);
    arguments.word(1U).text("java.lang.String");
    return adminCall(INVOKE, adminId, "GET_STATS", arguments.bytes());
}

std::string closeRequest() {
    return message("BASE", CLOSE, -1, "");
}

}  // namespace bench
