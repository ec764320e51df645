<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<!-- What Qt's own Chinese catalogue says badly: its words are right for a library, and tell a player nothing. -->
<TS version="2.1" language="zh_CN" sourcelanguage="en">
<context>
    <name>QNetworkReply</name>
    <message>
        <source>Protocol &quot;%1&quot; is unknown</source>
        <translation>大厅地址不能用（不支持“%1”），请在设置里检查 Lobby 地址</translation>
    </message>
</context>
<context>
    <name>QNetworkReplyHttpImpl</name>
    <message>
        <source>Operation canceled</source>
        <translation>服务器没有及时回应</translation>
    </message>
</context>
<context>
    <name>QNetworkReplyImpl</name>
    <message>
        <source>Operation canceled</source>
        <translation>服务器没有及时回应</translation>
    </message>
</context>
<context>
    <name>QHttp</name>
    <message>
        <source>Connection closed</source>
        <translation>服务器中断了连接</translation>
    </message>
    <message>
        <source>Host requires authentication</source>
        <translation>服务器要求登录</translation>
    </message>
</context>
</TS>
