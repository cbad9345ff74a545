#pragma once

#include "forms/dialects/Cursor.h"
#include "wire/ActionEncoder.h"

namespace Forms {

/// A cursor that knows what is between the tokens of BIRD's configuration.
class BirdText : public Cursor {
public:
   explicit BirdText( const Cursor& text ) : Cursor( text ) {}

   /// Passes over blanks and comments.
   void skip();
   /// Takes a token if it comes next; passes over blanks and comments around it.
   bool takeToken( std::string_view token );
   /// The same for one that must come next.
   void expectToken( std::string_view token );
};

/// The attributes of a rule's route, of which the extended communities are its action.
class BirdAttributes {
public:
   /// Both outlive it.
   BirdAttributes( BirdText& text, std::vector< Fault >& remarks )
      : text_( text ), remarks_( remarks ) {}

   /// Reads the block of a static route, "{ bgp_ext_community.add((generic, 0x80060000, 0x0)); }".
   /// Other attributes are passed over with a remark.
   Wire::EncodedAction readBlock();

   /// Reads what `show route all` prints after the match, up to the end of the text: the rest of
   /// its line, then a line for each attribute. Fails where there are none, as then nobody knows
   /// what the rule does.
   Wire::EncodedAction readPrinted();

private:
   void readStatement();
   Wire::ExtendedCommunity community();
   Wire::ExtendedCommunity composed( U16 type );

   BirdText& text_;
   std::vector< Fault >& remarks_;
   Wire::EncodedAction communities_;
   bool passedOver_ = false; // other attributes
};

} // namespace Forms
