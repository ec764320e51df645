#include "platform/game_window.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>
#include <xcb/xcb.h>

namespace platform {

namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template<typename Reply>
using OwnedReply = std::unique_ptr<Reply, FreeReply>;

using Connection = std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>;

xcb_atom_t atom(xcb_connection_t* display, std::string_view name) {
    const auto request = xcb_intern_atom(display, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const OwnedReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(display, request, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

// The first unit of a property that consists of 32-bit units.
std::optional<std::uint32_t> property(xcb_connection_t* display, xcb_window_t window, xcb_atom_t name,
                                      xcb_atom_t type) {
    const auto request = xcb_get_property(display, 0, window, name, type, 0, 1);
    const OwnedReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(display, request, nullptr));
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4) {
        return std::nullopt;
    }
    return *static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
}

bool isViewable(xcb_connection_t* display, xcb_window_t window) {
    const auto request = xcb_get_window_attributes(display, window);
    const OwnedReply<xcb_get_window_attributes_reply_t> reply(
        xcb_get_window_attributes_reply(display, request, nullptr));
    return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
}

// Walks the tree instead of asking the window manager for its clients: there may be no window manager, and one that is
// there puts frames around them.
std::optional<xcb_window_t> findWindow(xcb_connection_t* display, ProcessId process) {
    const xcb_atom_t processAtom = atom(display, "_NET_WM_PID");
    std::vector<xcb_window_t> pending;
    for (auto screen = xcb_setup_roots_iterator(xcb_get_setup(display)); screen.rem > 0; xcb_screen_next(&screen)) {
        pending.push_back(screen.data->root);
    }
    while (!pending.empty()) {
        const xcb_window_t window = pending.back();
        pending.pop_back();
        const bool fits = property(display, window, processAtom, XCB_ATOM_CARDINAL) == process &&
                          !property(display, window, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW).value_or(0) &&
                          isViewable(display, window);
        if (fits) {
            return window;
        }
        const OwnedReply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(display, xcb_query_tree(display, window), nullptr));
        if (tree) {
            // Bottom to top, so the topmost is taken first.
            const xcb_window_t* const children = xcb_query_tree_children(tree.get());
            pending.insert(pending.end(), children, children + xcb_query_tree_children_length(tree.get()));
        }
    }
    return std::nullopt;
}

// Motif's hints: flags, functions, decorations, input mode, status. Flag 2 says that the decorations, none, count.
void takeFrameAway(xcb_connection_t* display, xcb_window_t window) {
    const xcb_atom_t hints = atom(display, "_MOTIF_WM_HINTS");
    constexpr std::array<std::uint32_t, 5> kNoDecorations{2, 0, 0, 0, 0};
    xcb_change_property(display, XCB_PROP_MODE_REPLACE, window, hints, hints, 32, kNoDecorations.size(),
                        kNoDecorations.data());
}

// False when the window is gone.
bool configure(xcb_connection_t* display, xcb_window_t window, const WindowPlacement& placement) {
    // Positions are signed and sizes unsigned 16-bit numbers to the X server.
    const auto position = [](int value) {
        return static_cast<std::uint32_t>(std::clamp(value, -32768, 32767));
    };
    const auto extent = [](int value) {
        return static_cast<std::uint32_t>(std::clamp(value, 1, 65535));
    };
    const std::array<std::uint32_t, 4> values{position(placement.x), position(placement.y), extent(placement.width),
                                              extent(placement.height)};
    std::uint16_t mask = XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y;
    if (placement.borderless) {
        mask |= XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT;
    }
    const auto request = xcb_configure_window_checked(display, window, mask, values.data());
    return OwnedReply<xcb_generic_error_t>(xcb_request_check(display, request)) == nullptr;
}

}  // namespace

WindowOutcome placeMainWindow(ProcessId process, const WindowPlacement& placement,
                              const std::function<bool()>& lookAgain) {
    // One for all looks: an X server that loses its last client may start over, and lose a game that is just coming.
    const Connection connection(xcb_connect(nullptr, nullptr), &xcb_disconnect);
    xcb_connection_t* const display = connection.get();
    if (xcb_connection_has_error(display) != 0) {
        return WindowOutcome::unsupported;
    }
    do {
        const auto window = findWindow(display, process);
        if (window && placement.borderless) {
            takeFrameAway(display, *window);
        }
        if (window && configure(display, *window, placement)) {
            return WindowOutcome::placed;
        }
    } while (xcb_connection_has_error(display) == 0 && lookAgain && lookAgain());
    return WindowOutcome::notFound;
}

}  // namespace platform
