<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<!-- SPDX-License-Identifier: MIT -->
<TS version="2.1" language="zh_CN" sourcelanguage="en">
<context>
    <name>BytesUnitOperator</name>
    <message>
        <source>label_unit_b</source>
        <translation>B</translation>
    </message>
    <message>
        <source>label_unit_kb</source>
        <translation>KB</translation>
    </message>
    <message>
        <source>label_unit_mb</source>
        <translation>MB</translation>
    </message>
    <message>
        <source>label_unit_gb</source>
        <translation>GB</translation>
    </message>
    <message>
        <source>label_speed_second</source>
        <translation>/秒</translation>
    </message>
</context>
<context>
    <name>ProgressText</name>
    <message>
        <source>connecting ...</source>
        <translation>正在连接……</translation>
    </message>
    <message>
        <source>verifying %1</source>
        <translation>正在校验 %1</translation>
    </message>
    <message>
        <source>%1 left</source>
        <translation>剩余 %1</translation>
    </message>
</context>
</TS>
