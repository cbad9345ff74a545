# Gives each heading of a page the name that links to it use, which Doxygen wants to be written out
# and to be one of its kind among all pages.
FNR == 1 {
   page = FILENAME
   gsub( /^.*\/|\.md$/, "", page )
}
/^```/ { inCode = !inCode }
!inCode && /^##/ {
   name = tolower( $0 )
   gsub( /^#+ |[^a-z0-9 _-]/, "", name )
   gsub( / /, "-", name )
   $0 = $0 " {#" page "-" name "}"
}
!inCode {
   $0 = linksNamed( $0 )
}
{ print }

function linksNamed( line,   out, link ) {
   while ( match( line, /\]\(([a-z-]+\.md)?#[a-z0-9_-]+\)/ ) ) {
      link = substr( line, RSTART + 2, RLENGTH - 3 )
      out = out substr( line, 1, RSTART + 1 ) "#" ( link ~ /^#/ ? page "-" substr( link, 2 ) : named( link ) ) ")"
      line = substr( line, RSTART + RLENGTH )
   }
   return out line
}

function named( link ) {
   sub( /\.md#/, "-", link )
   return link
}
