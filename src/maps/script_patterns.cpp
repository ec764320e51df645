#include "maps/script_patterns.h"

#include <charconv>

namespace NetPlay {

namespace {

// Walks along ASCII text from a place between two characters. Once a step has failed, all further ones do.
class Cursor {
public:
    Cursor(const MapText& text, std::size_t place) : text_(text), place_(place) {}

    Cursor& word(std::string_view word) {
        ok_ = ok_ && text_.bytes().substr(place_).starts_with(word);
        place_ += ok_ ? word.size() : 0;
        return *this;
    }
    // \d+
    Cursor& digits(std::string_view& digits) {
        digits = run([](char c) { return c >= '0' && c <= '9'; });
        ok_ = ok_ && !digits.empty();
        return *this;
    }
    // \s*
    Cursor& blanks() {
        run([](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); });
        return *this;
    }
    // [^"]* and the quote behind it
    Cursor& quoted(std::size_t& begin, std::size_t& end) {
        begin = place_;
        end = ok_ ? text_.find("\"", place_) : MapText::npos;
        ok_ = end != MapText::npos;
        place_ = ok_ ? end + 1 : place_;
        return *this;
    }

    bool ok() const { return ok_; }
    std::size_t place() const { return place_; }

private:
    template<typename Belongs>
    std::string_view run(Belongs belongs) {
        const std::size_t begin = place_;
        while (ok_ && place_ < text_.size() && belongs(text_.bytes()[place_])) {
            ++place_;
        }
        return text_.bytes().substr(begin, place_ - begin);
    }

    const MapText& text_;
    std::size_t place_;
    bool ok_ = true;
};

// WORD(\d+)KEY\s*=\s*(\d+)
struct NumberedDigits {
    std::string_view number;
    std::string_view value;
    std::size_t end = 0;
};
std::optional<NumberedDigits> matchDigits(const MapText& text, std::size_t place, std::string_view word,
                                          std::string_view key) {
    NumberedDigits match;
    Cursor cursor(text, place);
    cursor.word(word).digits(match.number).word(key).blanks().word("=").blanks().digits(match.value);
    match.end = cursor.place();
    return cursor.ok() ? std::optional(match) : std::nullopt;
}

std::optional<NumberPairMatch> matchPair(const MapText& text, std::size_t place, std::string_view word,
                                         std::string_view key) {
    const auto match = matchDigits(text, place, word, key);
    return match ? std::optional(NumberPairMatch{toMapNumber(match->number), toMapNumber(match->value), match->end})
                 : std::nullopt;
}

// WORD(\d+)_name\s*=\s*"([^"]*)"
std::optional<NumberedTextMatch> matchName(const MapText& text, std::size_t place, std::string_view word,
                                           bool mayBeEmpty) {
    std::string_view number;
    std::size_t begin = 0;
    std::size_t end = 0;
    Cursor cursor(text, place);
    cursor.word(word).digits(number).word("_name").blanks().word("=").blanks().word("\"").quoted(begin, end);
    if (!cursor.ok() || (begin == end && !mayBeEmpty)) {
        return std::nullopt;
    }
    return NumberedTextMatch{toMapNumber(number), text.decoded(begin, end), cursor.place()};
}

}  // namespace

std::int32_t toMapNumber(std::string_view digits) {
    std::int32_t number = 0;
    const auto [last, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc()) {
        throw MapFormatError("stoi argument out of range");
    }
    return number;
}

// PLAYER_NUM=(\d+)
std::optional<NumberMatch> matchPlayerNum(const MapText& text, std::size_t place) {
    std::string_view digits;
    Cursor cursor(text, place);
    cursor.word("PLAYER_NUM=").digits(digits);
    return cursor.ok() ? std::optional(NumberMatch{toMapNumber(digits), cursor.place()}) : std::nullopt;
}

// side(\d+)_name\s*=\s*"([^"]+)"
std::optional<NumberedTextMatch> matchSideName(const MapText& text, std::size_t place) {
    return matchName(text, place, "side", false);
}

// side(\d+)_num\s*=\s*(\d+)
std::optional<NumberPairMatch> matchSideNum(const MapText& text, std::size_t place) {
    return matchPair(text, place, "side", "_num");
}

// bar(\d+)_select_type\s*=\s*(\d+), the second group as the digits stand
std::optional<NumberedTextMatch> matchBarSelectType(const MapText& text, std::size_t place) {
    const auto match = matchDigits(text, place, "bar", "_select_type");
    return match ? std::optional(NumberedTextMatch{toMapNumber(match->number), std::string(match->value), match->end})
                 : std::nullopt;
}

// bar(\d+)_name\s*=\s*"([^"]*)"
std::optional<NumberedTextMatch> matchBarName(const MapText& text, std::size_t place) {
    return matchName(text, place, "bar", true);
}

// bar(\d+)_player_id\s*=\s*(\d+)
std::optional<NumberPairMatch> matchBarPlayerId(const MapText& text, std::size_t place) {
    return matchPair(text, place, "bar", "_player_id");
}

// PLAYER_MODE_NUM=\d+\r?\n
std::optional<std::size_t> matchPlayerModeNum(const MapText& text, std::size_t place) {
    std::string_view digits;
    Cursor cursor(text, place);
    cursor.word("PLAYER_MODE_NUM=").digits(digits);
    if (cursor.ok() && text.bytes().substr(cursor.place()).starts_with('\r')) {
        cursor.word("\r");
    }
    cursor.word("\n");
    return cursor.ok() ? std::optional(cursor.place()) : std::nullopt;
}

}  // namespace NetPlay
