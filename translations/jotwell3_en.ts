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
<context>
    <name>iPodWriter</name>
    <!--
      One card of a vCard file (version 3.0, CR LF line ends). The format
      takes twelve arguments, in this order: %1 vCardDefaultHeader, %2 the
      status, %3 the title, %4 vCardTitleBottom, %5 vCardDateTop, %6 the
      date, %7 ReturnChar3, %8 extra vCard lines (each ending in CR LF, or
      nothing), %9 vCardMemoTop, %10 the note with its line breaks escaped,
      %11 vCardBottom, %12 vCardFooterB. %7 is a bare line feed, so the CR
      before it ends the date line properly.
    -->
    <message>
        <source>vCardFormat</source>
        <translation>%1&#13;&#10;N:%2%3%4&#13;&#10;FN:%2%3&#13;&#10;%5%6&#13;%7%8%9%10%11%12</translation>
    </message>
    <message>
        <source>vCardDefaultHeader</source>
        <translation>BEGIN:VCARD&#13;&#10;VERSION:3.0</translation>
    </message>
    <message>
        <source>vCardTitleBottom</source>
        <translation>;;;;</translation>
    </message>
    <message>
        <source>vCardDateTop</source>
        <translation>X-NOTE-DATE:</translation>
    </message>
    <message>
        <source>vCardMemoTop</source>
        <translation>NOTE:</translation>
    </message>
    <message>
        <source>vCardBottom</source>
        <translation>&#13;&#10;</translation>
    </message>
    <message>
        <source>vCardFooterB</source>
        <translation>END:VCARD&#13;&#10;</translation>
    </message>
    <!-- The line breaks a note may hold, escaped in this order: CR LF first, so that it becomes one escape. -->
    <message>
        <source>ReturnChar1</source>
        <translation>&#13;&#10;</translation>
    </message>
    <message>
        <source>ReturnChar2</source>
        <translation>&#13;</translation>
    </message>
    <message>
        <source>ReturnChar3</source>
        <translation>&#10;</translation>
    </message>
</context>
</TS>
