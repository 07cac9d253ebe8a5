<?xml version="1.0" encoding="utf-8"?>
<!-- SPDX-License-Identifier: GPL-3.0-or-later -->
<!DOCTYPE TS>
<TS version="2.1" language="eo">
<context>
    <name>main</name>
    <message>
        <source>Pictures, folders of pictures, a chain.</source>
        <translation>Bildoj, dosierujoj de bildoj, ĉeno.</translation>
    </message>
</context>
</TS>
