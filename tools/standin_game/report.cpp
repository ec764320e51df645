#include "standin_game/report.h"

#include "platform/code_page.h"

namespace {

std::string quoted(std::u16string_view text) {
    std::string json = "\"";
    for (const char character : platform::toUtf8(text)) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20) {
            json += "\\u00" + platform::hexadecimal({&byte, 1});
        } else {
            json += character == '"' || character == '\\' ? "\\" : "";
            json += character;
        }
    }
    return json + '"';
}

std::string dotted(const std::array<std::uint8_t, 4>& host) {
    std::string text;
    for (const std::uint8_t byte : host) {
        text += text.empty() ? "" : ".";
        text += std::to_string(byte);
    }
    return text;
}

std::string number(const std::optional<std::int32_t>& value) {
    return value ? std::to_string(*value) : "null";
}

std::string pairList(const std::vector<std::pair<std::int32_t, std::int32_t>>& pairs) {
    std::string json;
    for (const auto& [option, value] : pairs) {
        json += json.empty() ? "[[" : ",[";
        json += std::to_string(option);
        json += ',';
        json += std::to_string(value);
        json += ']';
    }
    return json.empty() ? "[]" : json + ']';
}

}  // namespace

std::string toJson(const Report& report) {
    std::string json = "{\n";
    const auto field = [&json](const char* name, const std::string& value) {
        json += json.size() > 2 ? ",\n  \"" : "  \"";
        json.append(name).append("\": ").append(value);
    };
    if (!report.error.empty()) {
        field("error", quoted(platform::fromUtf8(report.error)));
    }
    if (report.block) {
        field("mapName", quoted(report.block->mapName));
        field("host", '"' + dotted(report.block->host) + '"');
        field("port", std::to_string(report.block->port));
        field("slot", std::to_string(report.block->slot));
        field("sessionId", std::to_string(report.block->sessionId));
        field("userId", std::to_string(report.block->userId));
        field("playerName", quoted(report.block->playerName));
    }
    field("controlId", number(report.config.controlId));
    field("mapOptions", pairList(report.config.mapOptions));
    field("mapOptionDisplay", number(report.config.mapOptionDisplay));
    field("guards", report.config.guards ? "true" : "false");
    field("workingDirectory", quoted(report.workingDirectory));
    std::string arguments;
    for (const std::u16string& argument : report.arguments) {
        arguments += arguments.empty() ? "[" : ", ";
        arguments += quoted(argument);
    }
    field("arguments", arguments.empty() ? "[]" : arguments + ']');
    field("compatLayer", quoted(report.compatLayer));
    field("pid", std::to_string(report.pid));
    field("blockHex", '"' +
                          platform::hexadecimal({reinterpret_cast<const unsigned char*>(report.blockBytes.data()),
                                                 report.blockBytes.size()}) +
                          '"');
    return json + "\n}\n";
}

std::u16string toDisplayText(const Report& report) {
    std::u16string text;
    const auto line = [&text](std::u16string_view label, const std::u16string& value) {
        text.append(label).append(u": ").append(value).append(u"\n");
    };
    const auto ascii = [](const std::string& value) {
        return platform::fromUtf8(value);
    };
    if (!report.error.empty()) {
        line(u"错误", ascii(report.error));
    }
    if (report.block) {
        line(u"地图", report.block->mapName);
        line(u"玩家", report.block->playerName);
        line(u"游戏主机", ascii(dotted(report.block->host) + ":" + std::to_string(report.block->port)));
        line(u"槽位", ascii(std::to_string(report.block->slot)));
        line(u"会话", ascii(std::to_string(report.block->sessionId)));
        line(u"用户编号", ascii(std::to_string(report.block->userId)));
    }
    line(u"控制编号", ascii(number(report.config.controlId)));
    line(u"地图选项", ascii(pairList(report.config.mapOptions)));
    line(u"画面选项", ascii(number(report.config.mapOptionDisplay)));
    line(u"进度保护", report.config.guards ? u"有" : u"无");
    line(u"进程号", ascii(std::to_string(report.pid)));
    line(u"目录", report.workingDirectory);
    return text;
}
