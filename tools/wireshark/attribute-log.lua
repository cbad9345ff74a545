-- Dissects the attribute log (docs/attribute-log.md) over TCP, for Wireshark and tshark 4.
--
-- Copy it to the personal Lua plugins (Help, About, Folders), or: wireshark -X lua_script:FILE.
-- A stream is known by its preamble, or by the preference "TCP port". The types of the sender are
-- learned from its first message; what lies behind a preamble that was not captured shows headers
-- and numbers alone. "attrlog.line" is the line that flowspecctl decode-log prints.

local proto = Proto( "attrlog", "Attribute Log" )
proto.prefs.port = Pref.uint( "TCP port", 0, "A port of the attribute log; 0 for none" )

local kinds = { "types", "root", "child", "attribute", "member", "transaction", "synchronised" }
local transactions = { [0] = "start", [2] = "end" }
local maxPayload = 16777216
local headerSize = 16 -- of the preamble, too

local fields = {
   magic = ProtoField.string( "attrlog.magic", "Magic" ),
   version = ProtoField.uint16( "attrlog.version", "Version" ),
   digest = ProtoField.uint64( "attrlog.digest", "Digest of the types", base.HEX ),
   line = ProtoField.string( "attrlog.line", "Line" ),
   length = ProtoField.uint32( "attrlog.length", "Length" ),
   kind = ProtoField.uint8( "attrlog.kind", "Kind", base.DEC, kinds ),
   entity = ProtoField.uint64( "attrlog.entity", "Entity" ),
   entityType = ProtoField.string( "attrlog.entity.type", "Type" ),
   fieldId = ProtoField.uint16( "attrlog.field", "Field" ),
   fieldName = ProtoField.string( "attrlog.field.name", "Name" ),
   flags = ProtoField.uint8( "attrlog.flags", "Flags", base.HEX ),
   removed = ProtoField.bool( "attrlog.flags.removed", "Removed", 8, nil, 1 ),
   types = ProtoField.string( "attrlog.types", "Types" ),
   child = ProtoField.uint64( "attrlog.child", "Child" ),
   transaction = ProtoField.uint8( "attrlog.transaction", "Transaction", base.DEC, transactions ),
   value = ProtoField.string( "attrlog.value", "Value" ),
}
proto.fields = fields

local malformed = ProtoExpert.new( "attrlog.malformed", "Malformed message",
                                   expert.group.MALFORMED, expert.severity.ERROR )
proto.experts = { malformed }

-- Reading: a cursor over a payload that raises an error, a table, beyond its end.

local Reader = {}
Reader.__index = Reader

local function newReader( range )
   return setmetatable( { range = range, size = range and range:len() or 0, at = 0 }, Reader )
end

function Reader:fail( reason )
   error( { reason = string.format( "byte %d: %s", self.at, reason ) } )
end

function Reader:take( count )
   if count > self.size - self.at then
      self:fail( string.format( "%d bytes are wanted, %d are left", count, self.size - self.at ) )
   end
   self.at = self.at + count
   return count > 0 and self.range( self.at - count, count ) or nil
end

function Reader:u8() return self:take( 1 ):uint() end
function Reader:u16() return self:take( 2 ):uint() end
function Reader:u32() return self:take( 4 ):uint() end
function Reader:u64() return self:take( 8 ):uint64() end

function Reader:count( elementSize )
   local count = self:u32()
   if count > ( self.size - self.at ) / elementSize then
      self.at = self.at - 4
      self:fail( string.format( "a count of %d does not fit into what follows", count ) )
   end
   return count
end

function Reader:string()
   local length = self:count( 1 )
   return length > 0 and self:take( length ):raw() or ""
end

function Reader:rest() return self.at < self.size and self:take( self.size - self.at ):raw() or "" end

function Reader:done()
   if self.at < self.size then
      self:fail( string.format( "%d bytes too many", self.size - self.at ) )
   end
end

-- Texts.

local function printable( text )
   return ( text:gsub( "[^ -~]", function( c ) return string.format( "\\x%02x", c:byte() ) end ) )
end

local function quoted( text )
   return '"' .. printable( ( text:gsub( '["\\]', "\\%0" ) ) ) .. '"'
end

-- The nearest number with a mantissa of 24 bits.
local function asFloat( x )
   local mantissa, exponent = math.frexp( x )
   return math.ldexp( math.floor( mantissa * 2 ^ 24 + 0.5 ), exponent - 24 )
end

-- The shortest text that reads back to the same number.
local function shortest( x, from, to, rounded )
   if x == math.floor( x ) and math.abs( x ) < 2 ^ 53 then
      return string.format( "%d", x )
   end
   for digits = from, to do
      local text = string.format( "%." .. digits .. "g", x )
      if rounded( tonumber( text ) or x ) == x then
         return text
      end
   end
   return tostring( x )
end

local function ipv4( number )
   return string.format( "%d.%d.%d.%d", bit32.extract( number, 24, 8 ),
                         bit32.extract( number, 16, 8 ), bit32.extract( number, 8, 8 ),
                         bit32.extract( number, 0, 8 ) )
end

-- With the longest run of zeros left out (RFC 5952).
local function ipv6( range )
   local groups = {}
   for i = 0, 7 do
      groups[i] = range( 2 * i, 2 ):uint()
   end
   local count, tail = 8, ""
   if groups[5] == 0xFFFF and range( 0, 8 ):uint64() == UInt64( 0 ) and groups[4] == 0 then
      count, tail = 6, ":" .. ipv4( range( 12, 4 ):uint() )
   end
   local gap, gapLength = count, 1
   for first = 0, count - 1 do
      local last = first
      while last < count and groups[last] == 0 do
         last = last + 1
      end
      if last - first > gapLength then
         gap, gapLength = first, last - first
      end
   end
   local function join( from, to )
      local parts = {}
      for i = from, to - 1 do
         parts[#parts + 1] = string.format( "%x", groups[i] )
      end
      return table.concat( parts, ":" )
   end
   if gap == count then
      return join( 0, count ) .. tail
   end
   local behind = join( gap + gapLength, count )
   return join( 0, gap ) .. "::" .. ( behind == "" and tail:sub( 2 ) or behind .. tail )
end

-- Values: a reader for each type returns the text. What it is made of is collected in `parts` and
-- shown below it.

local readers = {}

local function readValue( r, parts, label, typeName )
   local read = readers[typeName]
   if not read then
      r:fail( "values of " .. typeName .. " cannot be decoded" )
   end
   local part = { label = label, start = r.at, parts = {} }
   local text = read( r, part.parts )
   part.text = text == "" and "-" or text
   part.length = r.at - part.start
   parts[#parts + 1] = part
   return part.text
end

local function showParts( tree, range, parts )
   for _, part in ipairs( parts ) do
      local bytes = part.length > 0 and range( part.start, part.length ) or range( 0, 0 )
      local item = tree:add( fields.value, bytes, part.text )
      item:set_text( part.label .. ": " .. part.text )
      showParts( item, range, part.parts )
   end
end

local function decimal( method )
   return function( r ) return tostring( r[method]( r ) ) end
end

local function enumeration( names, unknown )
   return function( r )
      local number = bit32.band( r:u32(), 0xFF )
      return names[number + 1] or ( unknown or "" ) .. number
   end
end

local function flags( names )
   return function( r )
      local bits = r:u32()
      local set = {}
      for i, name in ipairs( names ) do
         if bit32.btest( bits, 2 ^ ( i - 1 ) ) then
            set[#set + 1] = name
         end
      end
      return table.concat( set, "|" )
   end
end

-- Attributes in their order: { name, type } each. A function in the place of a type is a reader.
local function record( attributes )
   return function( r, parts )
      local texts = {}
      for i, attribute in ipairs( attributes ) do
         local name, kind = attribute[1], attribute[2]
         texts[i] = name .. " " .. ( type( kind ) == "function" and kind( r, parts, name ) or
                                     readValue( r, parts, name, kind ) )
      end
      return "{" .. table.concat( texts, ", " ) .. "}"
   end
end

-- Members behind their count, each of which takes so many bytes at least.
local function members( typeName, elementSize )
   return function( r, parts, label )
      local texts = {}
      for i = 1, r:count( elementSize ) do
         texts[i] = readValue( r, parts, label, typeName )
      end
      return "{" .. table.concat( texts, ", " ) .. "}"
   end
end

readers["bool"] = function( r ) return r:u8() ~= 0 and "1" or "0" end
readers["U8"] = decimal( "u8" )
readers["U16"] = decimal( "u16" )
readers["U32"] = decimal( "u32" )
readers["U64"] = decimal( "u64" )
readers["float"] = function( r ) return shortest( r:take( 4 ):float(), 6, 9, asFloat ) end
readers["Vek::Duration"] = function( r )
   return shortest( r:take( 8 ):float(), 15, 17, function( x ) return x end )
end
readers["Vek::String"] = function( r ) return quoted( r:string() ) end
readers["Osk::UniqueId"] = function( r ) return r:u64():tohex():lower() end
readers["Vrf::VrfIdMap::VrfId"] = readers["U32"]

readers["Zorv::AddressFamily"] = enumeration( { "none", "ipv4", "ipv6" }, "af" )
readers["Zorv::IntfId"] = function( r ) return "intf" .. tostring( r:u64() ) end
readers["Zorv::IpTos"] = readers["U8"]
readers["Zorv::IpGenAddr"] = function( r )
   local family = r:u32()
   local bytes = r:take( 16 )
   if family > 2 then
      r:fail( "no address has the family " .. family )
   end
   return family == 0 and "" or family == 1 and ipv4( bytes( 0, 4 ):uint() ) or ipv6( bytes )
end
-- A sender clears the host bits.
readers["Zorv::IpGenPrefix"] = function( r )
   local address = readers["Zorv::IpGenAddr"]( r )
   local length = r:u32()
   return address == "" and "" or address .. "/" .. length
end
readers["Zorv::RouteDistinguisher"] = function( r )
   local bytes = r:take( 8 )
   local kind, high, low = bytes( 0, 2 ):uint(), bytes( 2, 4 ):uint(), bytes( 6, 2 ):uint()
   if kind == 0 then
      return bytes( 2, 2 ):uint() .. ":" .. bytes( 4, 4 ):uint()
   elseif kind == 1 then
      return ipv4( high ) .. ":" .. low
   elseif kind == 2 then
      return high .. ( high <= 0xFFFF and "L:" or ":" ) .. low
   end
   return "0x" .. bytes:uint64():tohex():lower()
end

readers["QosLib::ColoredCounters"] = function( r )
   local numbers = {}
   for i = 1, 11 do
      numbers[i] = tostring( r:u64() )
   end
   return string.format( "<packetHits=%s,byteHits=%s,green=%s/%s/%s,yellow=%s/%s/%s,red=%s/%s/%s>",
                         table.unpack( numbers ) )
end
readers["SrTePolicy::PolicyKey"] = function( r )
   return r:u32() .. "," .. readers["Zorv::IpGenAddr"]( r )
end
readers["via"] = function( r )
   local address = readers["Zorv::IpGenAddr"]( r )
   local intf = readers["Zorv::IntfId"]( r )
   local label = r:u32()
   return string.format( "<address=%s;intf=%s;mplsLabel=%s;active=%s>", address, intf,
                         label == 1048576 and "none" or label, readers["bool"]( r ) )
end
readers["L3::ResolvedNexthopInfo"] = function( r, parts )
   local function list( label, typeName, elementSize )
      local texts = {}
      for i = 1, r:count( elementSize ) do
         texts[i] = readValue( r, parts, label, typeName )
      end
      return "{" .. table.concat( texts, "," ) .. "}"
   end
   local nexthops = list( "nexthop", "Zorv::IpGenAddr", 20 )
   return "<nexthopSet=" .. nexthops .. ";vias=" .. list( "via", "via", 33 ) .. ">"
end
readers["PolicyMap::PoliceRate"] = readers["U64"]
readers["PolicyMap::PoliceBurstSize"] = readers["U64"]
readers["PolicyMap::Dscp"] = readers["U8"]

readers["word"] = function( r )
   return string.format( "index %d, 0x%08x", r:u16(), r:u32() )
end
readers["Flowspec::FlowspecKey"] = function( r, parts )
   local vrf = readValue( r, parts, "vrfId", "U32" )
   local family = readValue( r, parts, "addressFamily", "Zorv::AddressFamily" )
   local function prefix( label )
      local text = readValue( r, parts, label, "Zorv::IpGenPrefix" )
      return text == "-" and "" or text
   end
   local destPrefix = prefix( "destPrefix" )
   local srcPrefix = prefix( "srcPrefix" )
   local words = ""
   while true do
      local start = r.at
      if r:u16() == 2047 then
         break
      end
      words = words .. r:u32() .. ";"
      r.at = start
      readValue( r, parts, "matchOpVal", "word" )
   end
   local sets = {}
   for i = 1, r:count( 2 ) do
      sets[i] = readValue( r, parts, "interfaceSet", "U16" )
   end
   return ( vrf == "16777215" and "" or vrf ) .. ";" .. ( family == "none" and "" or family ) ..
             ";" .. ( #sets > 0 and "IFSET:=" .. table.concat( sets, "," ) .. ";" or "" ) ..
             destPrefix .. ";" .. srcPrefix .. ";" .. words .. "@"
end
readers["Flowspec::MatchCompType"] = enumeration {
   "invalid", "destPrefix", "srcPrefix", "ipProto", "port", "destPort", "srcPort", "icmpType",
   "icmpCode", "tcpFlags", "packetLength", "dscp", "fragment", "flowLabel" }
readers["Flowspec::HwRuleProgrammingStatus"] = enumeration {
   "unprocessed", "programmed", "programmedWithFailures", "unsupportedMatch",
   "unsupportedTcamProfile", "unsupportedAction", "resourceExhausted",
   "intfSetResourceExhausted" }
readers["Flowspec::TrafficRedirectType"] = enumeration { "vrf", "addr", "srTePolicy" }
readers["Flowspec::IpVersion"] = flags { "ipv4", "ipv6" }
readers["Flowspec::TrafficAction"] = flags { "sampleAndLog", "continueMatch" }
readers["Flowspec::ActionFieldSet"] = flags {
   "invalid", "trafficPermit", "trafficDrop", "trafficRate", "trafficAction", "trafficRedirect",
   "trafficMarking", "trafficRatePkt" }
readers["Flowspec::MatchOpVal"] = record { { "storage", "U32" } }
readers["Flowspec::MatchOpValIndex"] = readers["U16"]
readers["Flowspec::MatchOpValResult"] = record {
   { "matchType", "Flowspec::MatchCompType" }, { "op", "U8" }, { "val32", "U32" },
   { "nextIndex", "U16" } }
readers["Flowspec::NumericalRange"] = record { { "rangeMin", "U32" }, { "rangeMax", "U32" } }
readers["Flowspec::IpBitMask"] = record {
   { "matchAll", "bool" }, { "val", "U16" }, { "mask", "U16" } }
readers["Flowspec::TcpBitMask"] = readers["Flowspec::IpBitMask"]
readers["Flowspec::MatchComponent"] = record {
   { "compType", "Flowspec::MatchCompType" }, { "prefix", "Zorv::IpGenPrefix" },
   { "numericalRange", members( "Flowspec::NumericalRange", 8 ) },
   { "ipBitMask", members( "Flowspec::IpBitMask", 5 ) },
   { "tcpBitMask", members( "Flowspec::TcpBitMask", 5 ) } }
readers["Flowspec::TrafficRedirect"] = record {
   { "vrfId", "U32" }, { "type", "Flowspec::TrafficRedirectType" },
   { "addr", "Zorv::IpGenAddr" }, { "srTePolicyKey", "SrTePolicy::PolicyKey" },
   { "copy", "bool" } }
readers["Flowspec::FlowspecIntfSetId"] = function( r )
   local there = r:u8() ~= 0
   local number = r:u16()
   return there and tostring( number ) or ""
end
readers["Flowspec::FlowspecIntfInterfaceSetConfig"] = record {
   { "intfId", "Zorv::IntfId" }, { "interfaceSet", members( "Flowspec::FlowspecIntfSetId", 3 ) } }
readers["Flowspec::InterfaceEnableConfig"] = record {
   { "intfId", "Zorv::IntfId" }, { "ipVersion", "Flowspec::IpVersion" },
   { "sourceVrfOverride", "Vek::String" } }
readers["Flowspec::IntfErrorKey"] = function( r, parts )
   return readValue( r, parts, "intfId", "Zorv::IntfId" ) .. "," ..
             readValue( r, parts, "addressFamily", "Zorv::AddressFamily" )
end
readers["Flowspec::CounterVersion"] = record {
   { "coloredCounters", "QosLib::ColoredCounters" }, { "version", "Osk::UniqueId" } }
readers["Flowspec::UnsupportedQual"] = record {
   { "addressFamily", "Zorv::AddressFamily" },
   { "qual", function( r, parts )
      local texts = {}
      while true do
         local start = r.at
         if r:u32() == 0 then
            break
         end
         r.at = start
         local kind = readValue( r, parts, "type", "Flowspec::MatchCompType" )
         texts[#texts + 1] = kind .. " -> " .. readValue( r, parts, "reason", "Vek::String" )
      end
      return "{" .. table.concat( texts, ", " ) .. "}"
   end },
   { "unsupportedActions", "Flowspec::ActionFieldSet" } }

readers["Peers::SessionState"] = enumeration {
   "idle", "connect", "active", "openSent", "openConfirm", "established" }
readers["Peers::Family"] = enumeration { "ipv4", "ipv6", "vpnIpv4", "vpnIpv6" }
readers["Peers::Capabilities"] = record {
   { "fourOctetAs", "bool" }, { "routeRefresh", "bool" }, { "enhancedRefresh", "bool" },
   { "gracefulRestart", "bool" }, { "notification", "bool" }, { "extendedMessages", "bool" } }
readers["Peers::FamilyState"] = record {
   { "family", "Peers::Family" }, { "isKept", "bool" }, { "endOfRibReceived", "bool" },
   { "endOfRibSent", "bool" } }
readers["Peers::MessageCounts"] = record {
   { "opens", "U64" }, { "updates", "U64" }, { "notifications", "U64" },
   { "keepalives", "U64" }, { "refreshes", "U64" } }
readers["Peers::RuleCounts"] = record {
   { "received", "U64" }, { "filed", "U64" }, { "hidden", "U64" }, { "refused", "U64" },
   { "stale", "U64" }, { "announced", "U64" } }
readers["Peers::RouteKey"] = record { { "family", "Peers::Family" }, { "nlri", "Vek::String" } }

-- What was learned of each stream, a direction of a connection from a preamble on. Numbers are never
-- used again, so that what is learned stays true when packets are dissected once more.

local streams = {} -- by addresses and ports, in the order of their first frames

function proto.init() streams = {} end

local function streamOf( pinfo, begins )
   local key = string.format( "%s %d %s %d", tostring( pinfo.src ), pinfo.src_port,
                              tostring( pinfo.dst ), pinfo.dst_port )
   streams[key] = streams[key] or {}
   local all = streams[key]
   local last = #all
   while last > 0 and all[last].frame > pinfo.number do
      last = last - 1
   end
   if last == 0 or begins and all[last].frame ~= pinfo.number then
      last = last + 1
      table.insert( all, last, { frame = pinfo.number, types = {}, entities = {}, positions = {},
                                 count = 0 } )
   end
   return all[last]
end

-- Fills the types of a stream from the text of its first message; returns how many there are.
local function learnTypes( stream, text )
   local count = 0
   local current
   for line in text:gmatch( "[^\n]+" ) do
      local id, name, kind, rest = line:match( "^ +(%d+) (%S+) (%S+) (.+)$" )
      if id and current then
         local key, member = rest:match( "^(.-) %-> (.+)$" )
         current.rows[tonumber( id )] = {
            id = id, name = name, kind = kind, key = key,
            value = member ~= "nothing" and ( member or rest ) or nil }
      elseif not id then
         local parameters = {}
         for parameter in ( line:match( "%((.*)%)" ) or "" ):gmatch( "[^, ]+" ) do
            parameters[#parameters + 1] = parameter
         end
         current = { name = line:match( "^%S+" ), parameters = parameters, rows = {} }
         stream.types[current.name] = current
         count = count + 1
      end
   end
   return count
end

-- Payloads: a reader for each kind returns what stands at the end of the line.

local payloads = {}

function payloads.types( r, message )
   local text = r:rest()
   if text ~= "" then
      message.tree:add( fields.types, r.range, text )
   end
   return tostring( learnTypes( message.stream, text ) )
end

function payloads.root( r, message )
   if message.removed then
      return ""
   end
   message.type = message.stream.types[r:string()]
   message.stream.entities[message.key] = message.type
   return readValue( r, message.parts, "name", "Vek::String" )
end

function payloads.child( r, message )
   local row = message.row
   if message.removed then
      r:take( 8 )
      return row.key and readValue( r, message.parts, "key", row.key ) or ""
   end
   local number = r:u64()
   local childType = message.stream.types[row.value]
   message.stream.entities[number:tohex()] = childType
   message.tree:add( fields.child, r.range( 0, 8 ) )
   local texts = {}
   for i, parameter in ipairs( childType.parameters ) do
      texts[i] = readValue( r, message.parts, "parameter", parameter )
   end
   return childType.name .. "#" .. tostring( number ) .. " " .. table.concat( texts, ", " )
end

function payloads.attribute( r, message )
   return readValue( r, message.parts, "value", message.row.value )
end

function payloads.member( r, message )
   local key = readValue( r, message.parts, "key", message.row.key )
   if message.removed or not message.row.value then
      return key
   end
   return key .. " -> " .. readValue( r, message.parts, "value", message.row.value )
end

function payloads.transaction( r, message )
   local number = r:u8()
   message.tree:add( fields.transaction, r.range( 0, 1 ) )
   return transactions[number] or tostring( number )
end

function payloads.synchronised() return "" end

-- The text of a message behind its position and kind.
local function readMessage( r, message, kind, fieldId )
   if fieldId ~= 0 then
      if not message.type then
         return "field " .. fieldId
      end
      message.row = message.type.rows[fieldId]
      if not message.row then
         r:fail( "the type does not stream such a field" )
      end
   end
   local text = payloads[kind]( r, message )
   r:done()
   local words = {}
   if message.type then
      words[#words + 1] = message.type.name .. "#" .. message.number
   end
   if message.row then
      words[#words + 1] = message.row.id
      words[#words + 1] = message.row.name
   end
   if message.removed then
      words[#words + 1] = "removed"
   end
   if text ~= "" then
      words[#words + 1] = text
   end
   return table.concat( words, " " )
end

-- Preambles and headers.

local function isPreamble( tvb ) return tvb( 0, 4 ):uint() == 0x56454B4C end

local function dissectPreamble( tvb, pinfo, tree )
   streamOf( pinfo, true )
   tree:add( fields.magic, tvb( 0, 4 ) )
   tree:add( fields.version, tvb( 4, 2 ) )
   tree:add( fields.digest, tvb( 8, 8 ) )
   tree:append_text( ", preamble" )
   return "preamble"
end

local function dissectMessage( tvb, pinfo, tree )
   local stream = streamOf( pinfo, false )
   local entity = tvb( 5, 8 )
   local kindNumber, fieldId, bits = tvb( 4, 1 ):uint(), tvb( 13, 2 ):uint(), tvb( 15, 1 ):uint()
   local kind = kinds[kindNumber]
   local message = {
      stream = stream, tree = tree, parts = {}, removed = bit32.btest( bits, 1 ),
      key = entity:uint64():tohex(), number = tostring( entity:uint64() ) }
   message.type = stream.entities[message.key]

   tree:add( fields.length, tvb( 0, 4 ) )
   tree:add( fields.kind, tvb( 4, 1 ) )
   local entityItem = tree:add( fields.entity, entity )
   local fieldItem = tree:add( fields.fieldId, tvb( 13, 2 ) )
   tree:add( fields.flags, tvb( 15, 1 ) ):add( fields.removed, tvb( 15, 1 ) )

   -- The position in the stream, told once on the first pass.
   local place = pinfo.number .. ":" .. tvb:offset()
   if not stream.positions[place] then
      stream.count = stream.count + 1
      stream.positions[place] = stream.count
   end
   local range = tvb:len() > headerSize and tvb( headerSize ) or nil
   local reader = newReader( range )
   local good, text = pcall( function()
      if not kind then
         reader:fail( "there is no such kind of message" )
      end
      return readMessage( reader, message, kind, fieldId )
   end )
   if range then
      showParts( tree, range, message.parts )
   end
   if message.type then
      entityItem:add( fields.entityType, entity, message.type.name )
   end
   if message.row then
      fieldItem:add( fields.fieldName, tvb( 13, 2 ), message.row.name )
   end
   if not good then
      text = type( text ) == "table" and text.reason or tostring( text )
      tree:add_proto_expert_info( malformed, text )
   end
   local line = stream.positions[place] .. " " .. ( kind or "unknown" ) ..
                   ( text ~= "" and " " .. text or "" )
   tree:add( fields.line, tvb(), line )
   tree:append_text( ", " .. line:sub( 1, 200 ) )
   return kind or "unknown"
end

-- The length of the preamble or the message that begins there; nil when it cannot be told yet. What
-- cannot be a message is taken as it stands, and shown as malformed.
local function pduLength( tvb )
   if tvb:len() < headerSize then
      return nil
   end
   if isPreamble( tvb ) then
      return headerSize
   end
   local length = tvb( 0, 4 ):uint()
   return length <= maxPayload and headerSize + length or tvb:len()
end

local function dissectPdu( tvb, pinfo, tree )
   local item = tree:add( proto, tvb() )
   if isPreamble( tvb ) then
      return dissectPreamble( tvb, pinfo, item )
   elseif tvb( 0, 4 ):uint() > maxPayload then
      item:add_proto_expert_info( malformed, "the payload is longer than " .. maxPayload )
      return "malformed"
   end
   return dissectMessage( tvb, pinfo, item )
end

-- Dissects what is complete and asks TCP for the rest. (`dissect_tcp_pdus` does not put segments
-- together when a heuristic calls it.)
local function dissectStream( tvb, pinfo, tree )
   local offset = 0
   local names = {}
   while offset < tvb:len() do
      local rest = tvb( offset ):tvb()
      local length = pduLength( rest )
      if not length or length > rest:len() then
         pinfo.desegment_offset = offset
         pinfo.desegment_len = length and length - rest:len() or DESEGMENT_ONE_MORE_SEGMENT
         break
      end
      names[#names + 1] = dissectPdu( tvb( offset, length ):tvb(), pinfo, tree )
      offset = offset + length
   end
   if #names > 0 then
      pinfo.cols.protocol = "AttrLog"
      pinfo.cols.info = table.concat( names, " " ) .. " "
      pinfo.cols.info:fence() -- this is called again for what comes behind a message in pieces
   end
   return tvb:len()
end

function proto.dissector( tvb, pinfo, tree ) return dissectStream( tvb, pinfo, tree ) end

proto:register_heuristic( "tcp", function( tvb, pinfo, tree )
   if tvb:len() < 6 or not isPreamble( tvb ) or tvb( 4, 2 ):uint() ~= 1 then
      return false
   end
   pinfo.conversation = proto
   dissectStream( tvb, pinfo, tree )
   return true
end )

local port = 0
function proto.prefs_changed()
   local tcp = DissectorTable.get( "tcp.port" )
   if port ~= 0 then
      tcp:remove( port, proto )
   end
   port = proto.prefs.port
   if port ~= 0 then
      tcp:add( port, proto )
   end
end
