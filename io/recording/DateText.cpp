#include "io/recording/DateText.h"

#include <charconv>
#include <chrono>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

/// Takes characters off the front of a text; after the first that does not fit, nothing fits.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    bool isFine() const { return isFine_; }
    bool atEnd() const { return text_.empty(); }
    bool accepts(std::string_view oneOf) {
        if (text_.empty() || oneOf.find(text_.front()) == std::string_view::npos) return false;
        text_.remove_prefix(1);
        return true;
    }
    void expect(std::string_view oneOf) { isFine_ = accepts(oneOf) && isFine_; }
    /// A number of exactly so many digits.
    int digits(std::size_t count) {
        int value = 0;
        const std::string_view part = text_.substr(0, count);
        const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), value);
        if (part.size() < count || part[0] == '-' || error != std::errc() || end != part.data() + count) {
            isFine_ = false;
            return 0;
        }
        text_.remove_prefix(count);
        return value;
    }
    /// A number of one digit or two.
    int oneOrTwoDigits() {
        const bool hasTwo = text_.size() > 1 && text_[1] >= '0' && text_[1] <= '9';
        return digits(hasTwo ? 2 : 1);
    }
    /// The digits at the front, read as those behind a point.
    double fraction() {
        double value = 0.0;
        double weight = 0.1;
        for (; !text_.empty() && text_.front() >= '0' && text_.front() <= '9'; weight /= 10.0) {
            value += weight * (text_.front() - '0');
            text_.remove_prefix(1);
        }
        return value;
    }

private:
    std::string_view text_;
    bool isFine_ = true;
};

/// s; what has to be taken off to get UTC.
int offset(Scanner& scan) {
    scan.accepts(" ");
    if (scan.accepts("Zz") || scan.atEnd()) return 0;
    const bool isBehind = scan.accepts("-");
    if (!isBehind) scan.expect("+");
    const int hours = scan.digits(2);
    scan.accepts(":");
    const int minutes = scan.atEnd() ? 0 : scan.digits(2);
    return (isBehind ? -1 : 1) * (hours * 3600 + minutes * 60);
}

/// "2023-05-06", "2023-5-6" or, with the day in front, "06.05.2023".
std::chrono::year_month_day dayOf(Scanner& scan, bool isDayFirst) {
    if (isDayFirst) {
        const std::chrono::day day(static_cast<unsigned>(scan.digits(2)));
        scan.expect(".");
        const std::chrono::month month(static_cast<unsigned>(scan.digits(2)));
        scan.expect(".");
        return {std::chrono::year(scan.digits(4)), month, day};
    }
    const std::chrono::year year(scan.digits(4));
    scan.expect("-/");
    const std::chrono::month month(static_cast<unsigned>(scan.oneOrTwoDigits()));
    scan.expect("-/");
    return {year, month, std::chrono::day(static_cast<unsigned>(scan.oneOrTwoDigits()))};
}

}  // namespace

std::optional<double> secondsOfDate(std::string_view text) {
    text = trimmed(text);
    Scanner scan(text);
    // A time of day alone is one of the first day of all.
    const bool hasDate = text.size() < 3 || text[2] != ':';
    std::chrono::year_month_day date(std::chrono::year(1970), std::chrono::month(1), std::chrono::day(1));
    if (hasDate) {
        date = dayOf(scan, text.size() > 2 && text[2] == '.');
        scan.expect("T t_");
    }
    const int hour = scan.digits(2);
    scan.expect(":");
    const int minute = scan.digits(2);
    scan.expect(":");
    const int second = scan.digits(2);
    const double fraction = scan.accepts(".,:") ? scan.fraction() : 0.0;
    const int behindUtc = offset(scan);
    if (!scan.isFine() || !scan.atEnd() || !date.ok() || hour > 24 || minute > 59 || second > 60)
        return std::nullopt;
    const auto days = std::chrono::sys_days(date).time_since_epoch().count();
    const auto whole = static_cast<double>(days) * 86400.0 + hour * 3600.0 + minute * 60.0 + second;
    return whole - behindUtc + fraction;
}

}  // namespace Kavelin::RecordingIO
