#include <Kavelin/Core/AbstractProperty.h>

#include "cli/validate/Checks.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

/// The exact text is to read back to the value; the short text to itself.
void requireRoundTrip(const Core::AbstractProperty& written, Core::AbstractProperty& other) {
    const std::string where = placeOf(written), exact = written.exactText();
    if (!isTaken(other, exact))
        throw Fault(where, "it refuses its own text, " + shownText(exact), "to take it");
    if (other.exactText() != exact)
        throw Fault(where, "its text " + shownText(exact) + " reads back as " + shownText(other.exactText()),
                    "the same text");
    std::string text, again;
    written.serialize(text);
    try {
        other.deSerialize(text);
    } catch (const Poco::DataFormatException&) {
        return;  // "nan" and "inf", which streams write and do not read
    }
    other.serialize(again);
    if (again != text)
        throw Fault(where,
                    "serialize gives " + shownText(text) + ", and after deSerialize " + shownText(again),
                    "the same text");
}

}  // namespace

void checkText(Subject& subject) {
    if (valueProperties(*subject.makeBare()).empty()) throw Skip("it has no properties with a value");
    for (std::size_t i = 0; i < valueProperties(*subject.makeBare()).size(); ++i) {
        const Core::FilterPtr writer = subject.make("writer"), reader = subject.make("reader");
        Core::AbstractProperty &from = *valueProperties(*writer)[i], &to = *valueProperties(*reader)[i];
        if (!from.isWritable()) continue;
        std::vector<std::string> texts = plausibleTexts(*writer, from);
        for (const std::string& text : hostileTexts()) texts.push_back(text);
        for (const std::string& text : texts) {
            subject.at("property \"{}\" with {}", from.getName(), shownText(text));
            if (isTaken(from, text)) requireRoundTrip(from, to);
        }
    }
}

}  // namespace Kavelin::Cli
