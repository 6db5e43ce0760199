<?xml version="1.0" encoding="UTF-8"?>
<!--
  An OPML outline to the XML property list of a page dictionary as the
  previous version kept its pages: the head's title is the top page's
  "Title", each outline a page under "Children" with its text (or, without
  one, its title) as "Title" and its _note as "NoteString". A document that
  is no OPML gives nothing.
-->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="xml" version="1.0" encoding="UTF-8" indent="no"/>

  <xsl:template match="/">
    <xsl:if test="opml">
      <plist version="1.0">
        <dict>
          <key>Title</key>
          <string><xsl:value-of select="opml/head/title"/></string>
          <key>Children</key>
          <array>
            <xsl:apply-templates select="opml/body/outline"/>
          </array>
        </dict>
      </plist>
    </xsl:if>
  </xsl:template>

  <xsl:template match="outline">
    <dict>
      <key>Title</key>
      <string>
        <xsl:choose>
          <xsl:when test="@text"><xsl:value-of select="@text"/></xsl:when>
          <xsl:otherwise><xsl:value-of select="@title"/></xsl:otherwise>
        </xsl:choose>
      </string>
      <xsl:if test="@_note">
        <key>NoteString</key>
        <string><xsl:value-of select="@_note"/></string>
      </xsl:if>
      <xsl:if test="outline">
        <key>Children</key>
        <array>
          <xsl:apply-templates select="outline"/>
        </array>
      </xsl:if>
    </dict>
  </xsl:template>
</xsl:stylesheet>
