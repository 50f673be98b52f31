#include "cli/view/ViewAccess.h"

#include <Poco/Environment.h>
#include <Poco/Net/IPAddress.h>
#include <Poco/String.h>

#include <algorithm>
#include <regex>

#include "cli/CommandContext.h"

namespace Kavelin::Cli {

namespace {

/// In a time that does not depend on where they differ.
bool areEqual(const std::string& a, const std::string& b) {
    unsigned difference = a.size() == b.size() ? 0 : 1;
    for (std::size_t i = 0; i < a.size(); ++i)
        difference |=
            static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b.empty() ? 0 : b[i % b.size()]);
    return difference == 0;
}

/// "localhost" of "localhost:8417", "::1" of "[::1]:8417"; empty for what is neither.
std::string nameOf(const std::string& host) {
    static const std::regex kForm(R"(\[([0-9a-f:.]+)\](:[0-9]+)?|([0-9a-z._-]+)(:[0-9]+)?)",
                                  std::regex::icase);
    std::smatch parts;
    if (!std::regex_match(host, parts, kForm)) return {};
    return Poco::toLower(parts[1].matched ? parts[1].str() : parts[3].str());
}

bool isPlain(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
           c == '_' || c == '.';
}

}  // namespace

ViewAccess::ViewAccess(const std::string& address, std::string token)
    : address_(address), token_(std::move(token)) {
    Poco::Net::IPAddress ip;
    if (!Poco::Net::IPAddress::tryParse(address, ip))
        throw UsageError("--address '" + address + "' is no address, such as 127.0.0.1, ::1 or 0.0.0.0");
    isWildcard_ = ip.isWildcard();
    if (!ip.isLoopback() && token_.empty())
        throw UsageError("--address " + address +
                         ": other machines can reach it, so --token TEXT is needed, which they have to give");
    if (!token_.empty() && token_.size() < kShortestToken)
        throw UsageError("--token: at least " + std::to_string(kShortestToken) + " characters are expected");
    if (!std::all_of(token_.begin(), token_.end(), isPlain))
        throw UsageError("--token: letters, digits, '-', '_' and '.' are expected");
}

/// What any machine may be called only passes with a token: a name that was led here has no cookie.
bool ViewAccess::isOwnName(const std::string& host) const {
    const std::string name = nameOf(host);
    if (name == "localhost" || name == address_) return true;
    Poco::Net::IPAddress ip;
    if (Poco::Net::IPAddress::tryParse(name, ip)) return ip.isLoopback() || isWildcard_;
    return isWildcard_ && name == Poco::Environment::nodeName();
}

std::string ViewAccess::refusal(const ViewCaller& caller) const {
    if (!isOwnName(caller.host)) return "this page is not served under that name";
    if (!caller.origin.empty() && caller.origin != "http://" + caller.host)
        return "requests of other pages are refused";
    if (token_.empty() || areEqual(token_, caller.token) || areEqual(token_, caller.tokenCookie)) return {};
    return "the token is missing or wrong";
}

}  // namespace Kavelin::Cli
