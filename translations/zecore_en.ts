<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>ZeFileManager</name>
    <message>
        <source>Json format error:%1</source>
        <translation>Json format error:%1</translation>
    </message>
    <message>
        <source>Open file failed:%1</source>
        <translation>Open file failed:%1</translation>
    </message>
</context>
</TS>
