#pragma once

#include <memory>
#include <string>

namespace Kavelin::Cli {

/// Serves a text over HTTP at /metrics, for Prometheus.
class MetricsServer {
public:
    /// @param address "ADDRESS:PORT"; port 0 takes any that is free  @throws UsageError
    explicit MetricsServer(const std::string& address);
    ~MetricsServer();

    /// What is served from now on. [any thread]
    void set(std::string text);
    /// "http://ADDRESS:PORT/metrics"
    std::string url() const;

private:
    class Inside;
    std::unique_ptr<Inside> inside_;
};

}  // namespace Kavelin::Cli
