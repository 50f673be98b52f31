#pragma once

#include <string>

namespace Kavelin::Cli {

/// What a request says of where it comes from.
struct ViewCaller {
    std::string host;         ///< the header; empty: none
    std::string origin;       ///< the header; empty: none
    std::string token;        ///< of the query; empty: none
    std::string tokenCookie;  ///< empty: none
};

/// Decides who may see the page: addressed by the name under which it is served, so that a foreign page's name that was led to
/// this address does not do; from no page but its own; with the token, where there is one.
class ViewAccess {
public:
    static constexpr std::size_t kShortestToken = 16;

    /// @param address on which the page is served
    /// @param token empty: none, which serves for loopback addresses alone
    /// @throws UsageError for an address that is none, and where a token is needed or too short
    ViewAccess(const std::string& address, std::string token);

    /// @return why the caller is refused; empty where it is not.
    std::string refusal(const ViewCaller& caller) const;
    /// Whether the token came in the query: from then on a cookie carries it.
    bool needsCookie(const ViewCaller& caller) const { return !token_.empty() && !caller.token.empty(); }
    const std::string& token() const { return token_; }

private:
    bool isOwnName(const std::string& host) const;

    std::string address_;
    std::string token_;
    bool isWildcard_ = false;
};

}  // namespace Kavelin::Cli
