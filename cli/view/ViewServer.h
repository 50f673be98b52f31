#pragma once

#include <memory>
#include <string>

#include "cli/view/PageFiles.h"
#include "cli/view/ViewAccess.h"
#include "cli/view/ViewHub.h"

namespace Kavelin::Cli {

struct ViewServerOptions {
    std::string address = "127.0.0.1";
    unsigned short port = 8417;  ///< 0: any that is free
    std::string token;
};

/// Pages that may be open at a time.
inline constexpr unsigned kMostPages = 16;

/// Serves the page, and the protocol of docs/view.md, from threads of its own.
class ViewServer {
public:
    /// Begins to serve.  @param hub borrowed
    /// @throws UsageError for an address, port or token that cannot be used
    ViewServer(const ViewServerOptions& options, ViewHub& hub, PageFiles files);
    /// Closes all connections, and waits for their threads.
    ~ViewServer();

    /// "http://127.0.0.1:8417/", with the token where there is one.
    std::string url() const;
    unsigned short port() const;

private:
    class Inside;
    std::unique_ptr<Inside> inside_;
};

}  // namespace Kavelin::Cli
