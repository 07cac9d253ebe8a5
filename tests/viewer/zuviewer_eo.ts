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
<context>
    <name>PictureFiles</name>
    <message>
        <source>the file is empty</source>
        <translation>la dosiero estas malplena</translation>
    </message>
</context>
<context>
    <name>Scenes</name>
    <message>
        <source>stripes</source>
        <translation>strioj</translation>
    </message>
</context>
</TS>
