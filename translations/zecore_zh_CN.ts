<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN" sourcelanguage="en">
<context>
    <name>ZeFileManager</name>
    <message>
        <source>Json format error:%1</source>
        <translation>JSON 格式错误：%1</translation>
    </message>
    <message>
        <source>Open file failed:%1</source>
        <translation>打开文件失败：%1</translation>
    </message>
</context>
</TS>
