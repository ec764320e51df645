// The patterns that a map's script is searched for, one function each, in the terms of ECMAScript regular expressions
// on bytes. std::regex itself is too slow here, and overflows the stack on long input.
//
// Each function looks for its pattern exactly at `place`, where the pattern's leading word is known to stand, and gives
// the groups and the offset behind the match. Digits that do not fit 32 bits throw MapFormatError, as a number is only
// read once its whole pattern has matched.
#pragma once

#include "maps/map_text.h"

#include <cstdint>
#include <optional>
#include <string>

namespace NetPlay {

struct NumberMatch {
    std::int32_t number = 0;
    std::size_t end = 0;
};

struct NumberedTextMatch {
    std::int32_t number = 0;
    std::string text;  // decoded
    std::size_t end = 0;
};

struct NumberPairMatch {
    std::int32_t number = 0;
    std::int32_t value = 0;
    std::size_t end = 0;
};

// Decimal digits as a number; throws MapFormatError above 2147483647.
std::int32_t toMapNumber(std::string_view digits);

std::optional<NumberMatch> matchPlayerNum(const MapText& text, std::size_t place);
std::optional<NumberedTextMatch> matchSideName(const MapText& text, std::size_t place);
std::optional<NumberPairMatch> matchSideNum(const MapText& text, std::size_t place);
std::optional<NumberedTextMatch> matchBarSelectType(const MapText& text, std::size_t place);
std::optional<NumberedTextMatch> matchBarName(const MapText& text, std::size_t place);
std::optional<NumberPairMatch> matchBarPlayerId(const MapText& text, std::size_t place);
// The offset behind the match.
std::optional<std::size_t> matchPlayerModeNum(const MapText& text, std::size_t place);

// Collects one pattern's matches while the places of its leading word are visited in order: a match
// begins behind the last one.
template<typename Match>
class MatchWalk {
public:
    using Matcher = std::optional<Match> (*)(const MapText&, std::size_t);
    explicit MatchWalk(Matcher matcher) : matcher_(matcher) {}

    std::optional<Match> at(const MapText& text, std::size_t place) {
        std::optional<Match> match;
        if (place >= next_) {
            match = matcher_(text, place);
            next_ = match ? match->end : place + 1;
        }
        return match;
    }

private:
    Matcher matcher_;
    std::size_t next_ = 0;
};

}  // namespace NetPlay
