#include "settings/ipv4.h"

#include "platform/resolver.h"
#include "settings/decimal.h"

#include <algorithm>
#include <optional>

namespace {

constexpr int kLargestPart = 255;
constexpr int kNoDigitYet = -1;

std::optional<Ipv4Bytes> readParts(const std::u16string& text) {
    Ipv4Bytes parts{};
    std::size_t finished = 0;
    int number = kNoDigitYet;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i == text.size() || text[i] == u'.') {
            if (number == kNoDigitYet || finished == parts.size()) {
                return std::nullopt;
            }
            parts[finished++] = static_cast<std::uint8_t>(number);
            number = kNoDigitYet;
        } else if (text[i] >= u'0' && text[i] <= u'9') {
            number = std::max(number, 0) * 10 + (text[i] - u'0');
            if (number > kLargestPart) {
                return std::nullopt;
            }
        } else {
            return std::nullopt;
        }
    }
    return finished == parts.size() ? std::optional(parts) : std::nullopt;
}

std::u16string unresolved(const std::u16string& host, const std::u16string& reason) {
    return u"Unable to resolve IPv4 host: " + host + u" (" + reason +
           u"). GameHost must be an IPv4 address or a DNS name with an A record.";
}

std::u16string failureReason(int code) {
    switch (code) {
    case platform::kHostNotFound:
        return u"host not found";
    case platform::kTryAgain:
        return u"DNS server temporarily unavailable";
    case platform::kNoData:
        return u"no IPv4 A record";
    default:
        return u"winsock error";
    }
}

}  // namespace

bool parseIpv4(const std::u16string& text, Ipv4Bytes& bytes, std::u16string& error) {
    const std::optional<Ipv4Bytes> parts = readParts(text);
    if (!parts) {
        error = u"Invalid IPv4 address: " + text;
        return false;
    }
    bytes = *parts;
    return true;
}

bool resolveIpv4Host(const std::u16string& host, Ipv4Bytes& bytes, std::u16string& error) {
    if (const std::optional<Ipv4Bytes> parts = readParts(host)) {
        bytes = *parts;
        return true;
    }
    using Outcome = platform::ResolvedHost::Outcome;
    const platform::ResolvedHost resolved = platform::resolveHost(host);
    switch (resolved.outcome) {
    case Outcome::address:
        bytes = resolved.address;
        return true;
    case Outcome::notAvailable:
        error = u"WSAStartup failed: " + decimalText(resolved.code);
        return false;
    case Outcome::noAddress:
        error = unresolved(host, u"no IPv4 A record");
        return false;
    case Outcome::failed:
        break;
    }
    error = unresolved(host, failureReason(resolved.code) + u", wsa=" + decimalText(resolved.code));
    return false;
}
