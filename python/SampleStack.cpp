#include "python/SampleStack.h"

#include <fmt/format.h>

#include <optional>

#include "python/Errors.h"

namespace Kavelin::Python {

namespace py = pybind11;

namespace {

using Core::PinContent;
using Core::PinShape;

constexpr std::ptrdiff_t kMostProbed = 16;
constexpr std::size_t kMostListed = 3;

/// The shape of a sample for the axes of an array from `first` on; none where no sample of the pin is like that.
std::optional<PinShape> shapeFor(const py::array& array, py::ssize_t first, const PinContent& content) {
    const auto fitting = [&](PinShape shape) {
        return content.fits(shape) ? std::optional(shape) : std::nullopt;
    };
    switch (array.ndim() - first) {
        case 0:
            return fitting({1, 1});
        case 1: {
            const std::ptrdiff_t elements = array.shape(first);
            const auto asRow = fitting({1, elements});
            return asRow ? asRow : fitting({elements, 1});
        }
        case 2:
            return fitting({array.shape(first), array.shape(first + 1)});
        default:
            return std::nullopt;
    }
}

/// "n x 3", "n x 4 or n x 3 x 3", by trying; `many`: with the n.
std::string expectedText(const PinContent& content, bool many) {
    std::vector<std::string> forms;
    if (content.fits({1, 1})) forms.emplace_back(many ? "n" : "a number");
    for (std::ptrdiff_t k = 2; k <= kMostProbed; ++k)
        if (content.fits({1, k}) || content.fits({k, 1}))
            forms.push_back(fmt::format(fmt::runtime(many ? "n x {}" : "{} elements"), k));
    for (std::ptrdiff_t k = 2; k <= 6; ++k)
        if (content.fits({k, k})) forms.push_back(fmt::format("{}{} x {}", many ? "n x " : "", k, k));
    const auto [rows, cols] = content.shape;
    if (forms.empty() && content.shape.isFixed())
        forms.push_back(fmt::format("{}{} x {}", many ? "n x " : "", rows, cols));
    if (forms.empty() || forms.size() > kMostListed)
        return content.takesText.empty() ? Core::shapeText(content.shape) + " a sample"
                                         : std::string(content.takesText) + " a sample";
    return fmt::format("{}", fmt::join(forms, " or "));
}

[[noreturn]] void refuse(const std::string& name, const py::array& array, const PinContent& content,
                         bool many) {
    refuseShape(name, array, expectedText(content, many), std::string(content.unit));
}

}  // namespace

SampleStack samplesOf(py::handle argument, const std::string& name, const PinContent& content,
                      std::size_t count) {
    SampleStack stack{doublesOf(argument, name), count, {}};
    const bool isEmptyList = count == 0 && stack.array.ndim() == 1 && stack.array.size() == 0;
    if (isEmptyList) return stack;
    if (stack.array.ndim() == 0) refuse(name, stack.array, content, true);
    const auto shape = shapeFor(stack.array, 1, content);
    if (!shape) refuse(name, stack.array, content, true);
    if (static_cast<std::size_t>(stack.array.shape(0)) != count)
        throw Refusal(Refusal::Kind::kInvalidValue, fmt::format("{}: {} rows; there are {} time stamps", name,
                                                                stack.array.shape(0), count));
    stack.shape = *shape;
    return stack;
}

SampleStack sampleOf(py::handle argument, const std::string& name, const PinContent& content) {
    SampleStack stack{doublesOf(argument, name), 1, {}};
    const auto shape = shapeFor(stack.array, 0, content);
    if (!shape) refuse(name, stack.array, content, false);
    stack.shape = *shape;
    return stack;
}

}  // namespace Kavelin::Python
