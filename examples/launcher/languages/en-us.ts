<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<!-- SPDX-License-Identifier: MIT -->
<TS version="2.1" language="en_US" sourcelanguage="en">
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
        <translation>/s</translation>
    </message>
</context>
</TS>
