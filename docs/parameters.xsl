<?xml version="1.0" encoding="UTF-8"?>
<!--
SPDX-FileCopyrightText: 2026 The libZeCore authors
SPDX-License-Identifier: LGPL-3.0-or-later

Over Doxygen's XML of a class: names each parameter of which neither the comment
of its operation nor that of the operation's group says anything.
-->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
  <xsl:output method="text"/>
  <xsl:template match="text()"/>
  <xsl:template match="memberdef[@kind='function' or @kind='signal'][@prot!='private']/param">
    <xsl:variable name="said" select="../briefdescription//computeroutput | ../detaileddescription//computeroutput | ../../description//computeroutput"/>
    <xsl:if test="not($said[. = current()/declname])">
      <xsl:value-of select="concat(../definition, ': nothing is said about ', declname, '&#10;')"/>
    </xsl:if>
  </xsl:template>
</xsl:stylesheet>
