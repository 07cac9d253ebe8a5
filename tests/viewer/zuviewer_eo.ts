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
<context>
    <name>CzMissingElement</name>
    <message>
        <source>Missing: %1</source>
        <translation>Mankas: %1</translation>
    </message>
</context>
<context>
    <name>CzChainFile</name>
    <message>
        <source>expected the element &lt;chain&gt;, found &lt;%1&gt;.</source>
        <translation>atendis la elementon &lt;chain&gt;, trovis &lt;%1&gt;.</translation>
    </message>
</context>
<context>
    <name>CzPluginLoader</name>
    <message>
        <source>it is no plug-in</source>
        <translation>ĝi ne estas kromaĵo</translation>
    </message>
</context>
<context>
    <name>CzRotateImageCnbl</name>
    <message>
        <source>Rotate</source>
        <translation>Turni</translation>
    </message>
</context>
</TS>
