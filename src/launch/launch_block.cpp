#include "launch/launch_block.h"

#include "settings/ipv4.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr std::size_t kMapNameOffset = 2;
constexpr std::size_t kHostOffset = 66;
constexpr std::size_t kPortOffset = 70;
constexpr std::size_t kSlotOffset = 72;
constexpr std::size_t kSessionOffset = 74;
constexpr std::size_t kUserOffset = 78;
constexpr std::size_t kPlayerNameOffset = 644;

void putNumber(std::vector<std::uint8_t>& block, std::size_t offset, std::uint32_t number, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        block[offset + i] = static_cast<std::uint8_t>(number >> (8 * i));
    }
}

// The terminating NUL is there already: the block begins as zeros.
void putText(std::vector<std::uint8_t>& block, std::size_t offset, std::u16string_view text, std::size_t maxUnits) {
    const std::size_t count = std::min(maxUnits, text.size());
    for (std::size_t i = 0; i < count; ++i) {
        putNumber(block, offset + 2 * i, text[i], 2);
    }
}

}  // namespace

bool buildLaunchBlock(const GameLaunchRequest& request, const std::u16string& playerName,
                      std::vector<std::uint8_t>& block, std::u16string& lastError) {
    block.assign(kLaunchBlockSize, 0);
    putText(block, kMapNameOffset, request.mapName, kMaxMapNameUnits);
    Ipv4Bytes host{};
    if (!resolveIpv4Host(request.gameHost, host, lastError)) {
        return false;
    }
    std::copy(host.begin(), host.end(), block.begin() + kHostOffset);
    putNumber(block, kPortOffset, request.gamePort, 2);
    putNumber(block, kSlotOffset, static_cast<std::uint32_t>(request.slot), 1);
    putNumber(block, kSessionOffset, request.sessionId, 4);
    putNumber(block, kUserOffset, static_cast<std::uint32_t>(request.userId), 4);
    putText(block, kPlayerNameOffset, playerName, kMaxPlayerNameUnits);
    return true;
}
