#include "platform/helper_system.h"

#include "platform/code_page.h"
#include "platform/process.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

namespace {

xcb_connection_t* display = nullptr;
xcb_window_t shown = 0;

template<typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> owned(Reply* reply) {
    return {reply, &std::free};
}

xcb_atom_t atom(const std::string& name) {
    const auto request = xcb_intern_atom(display, 0, static_cast<std::uint16_t>(name.size()), name.data());
    return owned(xcb_intern_atom_reply(display, request, nullptr))->atom;
}

xcb_window_t makeWindow(xcb_window_t parent, std::int16_t x, std::int16_t y) {
    const xcb_window_t window = xcb_generate_id(display);
    xcb_create_window(display, XCB_COPY_FROM_PARENT, window, parent, x, y, 200, 100, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    return window;
}

void setNumber(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, std::uint32_t number) {
    xcb_change_property(display, XCB_PROP_MODE_REPLACE, window, property, type, 32, 1, &number);
}

}  // namespace

std::vector<std::u16string> programArguments(int argc, char** argv) {
    std::vector<std::u16string> arguments(static_cast<std::size_t>(argc) - 1);
    std::transform(argv + 1, argv + argc, arguments.begin(), platform::fromUtf8);
    return arguments;
}

bool showWindows() {
    display = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(display) != 0) {
        return false;
    }
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(display)).data->root;
    // In a frame of another program's making, as a window manager gives it.
    const xcb_window_t frame = makeWindow(root, 0, 0);
    shown = makeWindow(frame, 10, 20);
    const xcb_window_t dialog = makeWindow(root, 10, 20);
    for (const xcb_window_t window : {shown, makeWindow(root, 10, 20), dialog}) {
        setNumber(window, atom("_NET_WM_PID"), XCB_ATOM_CARDINAL, platform::currentProcessId());
    }
    setNumber(dialog, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW, shown);
    for (const xcb_window_t window : {frame, shown, dialog}) {
        xcb_map_window(display, window);
    }
    return xcb_flush(display) > 0;
}

std::string windowState() {
    const xcb_atom_t hints = atom("_MOTIF_WM_HINTS");
    const auto hintsRequest = xcb_get_property(display, 0, shown, hints, hints, 0, 5);
    const auto motif = owned(xcb_get_property_reply(display, hintsRequest, nullptr));
    const auto area = owned(xcb_get_geometry_reply(display, xcb_get_geometry(display, shown), nullptr));
    const auto* const units = static_cast<const std::uint32_t*>(xcb_get_property_value(motif.get()));
    const bool bare = xcb_get_property_value_length(motif.get()) == 20 && units[0] == 2 && units[2] == 0;
    return std::to_string(area->x) + ' ' + std::to_string(area->y) + ' ' + std::to_string(area->width) + ' ' +
           std::to_string(area->height) + (bare ? " bare" : " framed");
}
