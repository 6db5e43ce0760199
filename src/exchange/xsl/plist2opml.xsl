<?xml version="1.0" encoding="UTF-8"?>
<!--
  A page tree, as the XML property list of its dictionary representation,
  to an OPML 2.0 outline: one outline element per page, nested as the pages
  are, its text the page's title and its _note attribute the page's text.
-->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="xml" version="1.0" encoding="UTF-8" indent="yes"/>

  <xsl:template match="/">
    <xsl:variable name="root" select="plist/dict[1]"/>
    <opml version="2.0">
      <head>
        <title>
          <xsl:value-of select="$root/key[. = 'Title'][1]/following-sibling::*[1]"/>
        </title>
      </head>
      <body>
        <xsl:apply-templates select="$root"/>
      </body>
    </opml>
  </xsl:template>

  <xsl:template match="dict">
    <xsl:variable name="note" select="key[. = 'NoteString'][1]/following-sibling::*[1]"/>
    <outline text="{key[. = 'Title'][1]/following-sibling::*[1]}">
      <!-- Outliners leave the attribute out of items without a note. -->
      <xsl:if test="string($note) != ''">
        <xsl:attribute name="_note">
          <xsl:value-of select="$note"/>
        </xsl:attribute>
      </xsl:if>
      <xsl:apply-templates select="key[. = 'Children'][1]/following-sibling::*[1][self::array]/dict"/>
    </outline>
  </xsl:template>
</xsl:stylesheet>
