<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<!-- SPDX-License-Identifier: MIT -->
<TS version="2.1" language="en_US">
<context>
    <name>tst</name>
    <message>
        <source>label_where</source>
        <translation>folder</translation>
    </message>
</context>
</TS>
