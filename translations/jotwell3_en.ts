<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<!--
  English display texts for keys that are not meant to be shown as they
  stand. A key missing here is shown as it is, so plain English texts
  ("Page is locked") need no entry. Contexts are the strings tables.
-->
<TS version="2.1" language="en">
<context>
    <name>Localizable</name>
    <message>
        <source>PenSymbol</source>
        <translation>✎</translation>
    </message>
    <message>
        <source>DateStampFormat</source>
        <translation>%Y-%m-%d (</translation>
    </message>
    <message>
        <source>TimeStampFormat</source>
        <translation>) %H:%M</translation>
    </message>
    <message>
        <source>ClippingMemoParent title</source>
        <translation>Clippings</translation>
    </message>
    <message>
        <source>Clipped Memo via Services Menu</source>
        <translation>Text clipped from other applications is kept under this page.</translation>
    </message>
    <message>
        <source>JotwellData Title</source>
        <translation>Jotwell Data</translation>
    </message>
    <message>
        <source>RecentMemo</source>
        <translation>Recent Pages</translation>
    </message>
    <message>
        <source>FavoriteMemo</source>
        <translation>Favourite Pages</translation>
    </message>
    <message>
        <source>FontMenu</source>
        <translation>Font</translation>
    </message>
    <message>
        <source>FontMenuItem</source>
        <translation>Font Name</translation>
    </message>
</context>
<context>
    <name>StringUtility</name>
    <message>
        <source>Space Character</source>
        <translation>　</translation>
    </message>
    <message>
        <source>Kuten Character</source>
        <translation>。</translation>
    </message>
    <message>
        <source>Touten Character</source>
        <translation>、</translation>
    </message>
    <message>
        <source>Minus Character</source>
        <translation>－</translation>
    </message>
    <message>
        <source>Tilde Character</source>
        <translation>～</translation>
    </message>
    <message>
        <source>exclamation</source>
        <translation>！</translation>
    </message>
    <message>
        <source>question</source>
        <translation>？</translation>
    </message>
    <message>
        <source>alphabetCharacterSet</source>
        <translation>ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789</translation>
    </message>
    <message>
        <source>japaneseCharacterset</source>
        <translation>ぁあぃいぅうぇえぉおかがきぎくぐけげこごさざしじすずせぜそぞただちぢっつづてでとどなにぬねのはばぱひびぴふぶぷへべぺほぼぽまみむめもゃやゅゆょよらりるれろゎわゐゑをんゔゕゖゝゞァアィイゥウェエォオカガキギクグケゲコゴサザシジスズセゼソゾタダチヂッツヅテデトドナニヌネノハバパヒビピフブプヘベペホボポマミムメモャヤュユョヨラリルレロヮワヰヱヲンヴヵヶヷヸヹヺーヽヾ</translation>
    </message>
</context>
<context>
    <name>NoteTreeController</name>
    <message>
        <source>Delete Memo</source>
        <translation>Delete Page</translation>
    </message>
    <message>
        <source>Can not undo deleting.</source>
        <translation>The selected pages and the pages inside them will be deleted. Edit › Undo brings them back.</translation>
    </message>
</context>
<context>
    <name>NumberUtility</name>
    <message>
        <source>Multiple Character</source>
        <translation>×</translation>
    </message>
</context>
<context>
    <name>DataStore</name>
    <message numerus="yes">
        <source>%n page(s) could not be saved: %1</source>
        <translation>
            <numerusform>%n page could not be saved: %1</numerusform>
            <numerusform>%n pages could not be saved: %1</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>JW3Controller</name>
    <message numerus="yes">
        <source>%n page(s) were recovered under &quot;Recovered pages&quot;.</source>
        <translation>
            <numerusform>One page was recovered under &quot;Recovered pages&quot;.</numerusform>
            <numerusform>%n pages were recovered under &quot;Recovered pages&quot;.</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n of them had an ID in use and took a new one.</source>
        <translation>
            <numerusform>One of them had an ID in use and took a new one.</numerusform>
            <numerusform>%n of them had IDs in use and took new ones.</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n page file(s) could not be read and were skipped.</source>
        <translation>
            <numerusform>One page file could not be read and was skipped.</numerusform>
            <numerusform>%n page files could not be read and were skipped.</numerusform>
        </translation>
    </message>
</context>
</TS>
