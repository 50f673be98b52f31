#pragma once

#include <Kavelin/Core/Export.h>

#include <compare>
#include <string>
#include <vector>

namespace Kavelin::Core {

/// A parsed version text, "1.3.1": whole numbers separated by dots, compared number by number ("1.10" >
/// "1.9", "1.3" == "1.3.0").
class KAVELIN_API ComponentVersion {
public:
    /// @throws Poco::SyntaxException when `text` is not such a list.
    explicit ComponentVersion(const std::string& text);

    const std::string& toString() const { return text_; }
    std::strong_ordering operator<=>(const ComponentVersion& other) const;
    bool operator==(const ComponentVersion& other) const;

private:
    std::string text_;
    std::vector<unsigned> parts_;
};

}  // namespace Kavelin::Core
