#include "cli/layout/JsonTree.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

namespace Kavelin::Cli {

namespace {

/// Walks through the text token by token in step with the JSON parser, which checks the syntax but does not
/// say where a value began.
class TokenCursor {
public:
    explicit TokenCursor(std::string_view text) : text_(text) {
        if (text_.substr(0, 3) == "\xEF\xBB\xBF") offset_ = 3;  // byte order mark
    }

    /// Moves to the begin of the next value or key.
    Place nextStart() {
        while (offset_ < text_.size() && isBetweenTokens(text_[offset_])) step();
        return {line_, column_, {}};
    }

    /// Moves behind the token that begins here.  @return its characters.
    std::string_view skipToken() {
        const std::size_t begin = offset_;
        if (offset_ >= text_.size()) return {};
        const char first = text_[offset_];
        step();
        if (first == '"') {
            while (offset_ < text_.size() && text_[offset_] != '"') {
                if (text_[offset_] == '\\') step();
                if (offset_ < text_.size()) step();
            }
            if (offset_ < text_.size()) step();
        } else if (first != '{' && first != '[') {
            while (offset_ < text_.size() && !isBetweenTokens(text_[offset_])) step();
        }
        return text_.substr(begin, offset_ - begin);
    }

    void skipTo(std::size_t offset) {
        while (offset_ < std::min(offset, text_.size())) step();
    }

    std::size_t offset() const { return offset_; }
    Place place() const { return {line_, column_, {}}; }

private:
    static bool isBetweenTokens(char c) {
        return std::string_view(" \t\r\n,:]}").find(c) != std::string_view::npos;
    }

    void step() {
        const auto byte = static_cast<unsigned char>(text_[offset_++]);
        if (byte == '\n') {
            ++line_;
            column_ = 1;
        } else if ((byte & 0xC0u) != 0x80u) {  // a continuation byte belongs to the character before
            ++column_;
        }
    }

    std::string_view text_;
    std::size_t offset_ = 0;
    int line_ = 1, column_ = 1;
};

/// The parser's message without its class and its own idea of the place, and without the text read so far,
/// which may be the whole file.
std::string shorten(std::string message) {
    for (const char* end : {"] ", ": "}) {
        const auto found = message.find(end);
        const bool isPrefix = end[0] == ']' ? message.front() == '[' : message.starts_with("parse error at");
        if (isPrefix && found != std::string::npos) message.erase(0, found + 2);
    }
    const auto lastRead = message.find("; last read: '");
    if (lastRead != std::string::npos) {
        const auto expected = message.find("'; expected", lastRead);
        message.erase(lastRead, expected == std::string::npos ? expected : expected + 1 - lastRead);
    }
    return message;
}

class TreeBuilder : public nlohmann::json_sax<nlohmann::json> {
public:
    TreeBuilder(std::string_view text, JsonNode& root, Mistakes& mistakes)
        : cursor_(text), begin_(text), root_(root), mistakes_(mistakes) {}

    bool null() override { return add(JsonNode::Kind::null) != nullptr; }
    bool boolean(bool value) override {
        add(JsonNode::Kind::boolean)->boolean = value;
        return true;
    }
    bool number_integer(number_integer_t) override { return addNumber(); }
    bool number_unsigned(number_unsigned_t) override { return addNumber(); }
    bool number_float(number_float_t, const string_t&) override { return addNumber(); }
    bool string(string_t& value) override {
        add(JsonNode::Kind::text)->text = value;
        return true;
    }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return open(JsonNode::Kind::object); }
    bool start_array(std::size_t) override { return open(JsonNode::Kind::array); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t& name) override {
        const Place place = cursor_.nextStart();
        cursor_.skipToken();
        open_.back()->keys.push_back({name, place});
        return true;
    }

    bool parse_error(std::size_t read, const std::string&,
                     const nlohmann::detail::exception& error) override {
        const std::size_t lastRead = read == 0 ? 0 : read - 1;
        TokenCursor next = cursor_;
        next.nextStart();
        TokenCursor stop = begin_;
        stop.skipTo(lastRead);
        const Place place = next.offset() <= lastRead ? next.place() : stop.place();
        mistakes_.push_back({place, "no JSON: " + shorten(error.what())});
        return false;
    }

private:
    JsonNode* add(JsonNode::Kind kind) {
        JsonNode* node = &root_;
        if (!open_.empty()) node = &open_.back()->items.emplace_back();
        node->kind = kind;
        node->place = cursor_.nextStart();
        token_ = cursor_.skipToken();
        return node;
    }

    /// Reads the number from its characters: the parser takes "-0" for the integer 0.
    bool addNumber() {
        JsonNode* node = add(JsonNode::Kind::number);
        node->text = token_;
        std::from_chars(token_.data(), token_.data() + token_.size(), node->number);
        return true;
    }

    bool open(JsonNode::Kind kind) {
        JsonNode* node = add(kind);
        open_.push_back(node);
        if (open_.size() <= kDeepestNesting) return true;
        mistakes_.push_back({node->place, "nested deeper than " + std::to_string(kDeepestNesting) +
                                              " levels; a layout needs 7"});
        return false;
    }

    bool close() {
        open_.pop_back();
        return true;
    }

    TokenCursor cursor_;
    const TokenCursor begin_;
    std::string_view token_;  // the value added last, as it was written
    JsonNode& root_;
    std::vector<JsonNode*> open_;  // a node grows no siblings before it is closed, so these stay valid
    Mistakes& mistakes_;
};

}  // namespace

bool parseJson(std::string_view text, JsonNode& root, Mistakes& mistakes) {
    TreeBuilder builder(text, root, mistakes);
    return nlohmann::json::sax_parse(text.begin(), text.end(), &builder);
}

const char* describe(JsonNode::Kind kind) {
    static constexpr const char* kNames[] = {"null",   "a boolean", "a number",
                                             "a text", "an array",  "an object"};
    return kNames[static_cast<std::size_t>(kind)];
}

}  // namespace Kavelin::Cli
