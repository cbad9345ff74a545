# bash completion for flowspecctl

_flowspecctl() {
   local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
   local readable='cli cli-len rd rd-len value diag json nlri nlri-vpn bird exabgp exabgp-json gobgp gobgp-json'
   local dialects='bird exabgp exabgp-json gobgp gobgp-json nlri nlri-vpn json'
   local words='' front=''
   COMPREPLY=()

   local roots='flowspec/config flowspec/cliconfig flowspec/status flowspec/counter flowspec/bgp
      flowspec/peers flowspec/peer-requests'

   local command=
   (( COMP_CWORD < 2 )) || command=${COMP_WORDS[1]}
   case $command:$previous in
   *:--socket)
      compopt -o filenames
      mapfile -t COMPREPLY < <( compgen -W /run/flowspec/statedb.sock -- "$current"; compgen -f -- "$current" )
      return
      ;;
   *:--*-root) words=$roots ;;
   rule:--from | rule:--to) words=$dialects ;;
   key:--from | check:--from | explain:--from) words=$readable ;;
   key:--to)
      # A list: completes what stands behind the last comma.
      words="$readable detail rd-detail words"
      [[ $current != *,* ]] || front=${current%,*},
      ;;
   convert:--to) words='cli cli-len value diag json detail words nlri bird exabgp exabgp-json gobgp gobgp-json' ;;
   key:--family | rule:--family | check:--family | explain:--family | lint:--family | trace:--family | convert:--family) words='ipv4 ipv6' ;;
   key:--rd | key:--vrf | rule:--vrf | rule:--local-as | rule:--route-target | convert:--vrf) return ;;
   explain:--backend | lint:--backend) words=nftables ;;
   explain:--vrf | explain:--protect | explain:--session) return ;;
   lint:--vrf | lint:--protect | lint:--session | trace:--vrf | trace:--interface-set) return ;;
   lint:--ignore)
      words="unreadable remark beyond-field matches-nothing matches-everything protected session profile
         double contradicts hidden partly-hidden not-compared backend"
      ;;
   nlri:--afi) words='1 2' ;;
   nlri:--safi) words='133 134' ;;
   nlri:--rd) return ;;
   key:--equivalent | rule:--equivalent) return ;;
   key:* | rule:* | check:* | explain:* | lint:* | trace:* | convert:* | nlri:* | decode-log:*)
      if [[ $current != -* ]]; then
         compopt -o filenames
         mapfile -t COMPREPLY < <( compgen -f -- "$current" )
         return
      fi
      case $command in
      key)
         words='--from --to --sort --canonical --equivalent --unique --strict --json --table --rd --vrf
            --family --help'
         ;;
      rule)
         words='--from --to --sort --canonical --equivalent --vrf --family --local-as --route-target
            --help'
         ;;
      check) words='--from --strict --json --family --help' ;;
      explain)
         words='--from --json --vrf --family --profile --backend --protect --session --rules --alone
            --socket --config-root --peers-root --help'
         ;;
      lint) words='--json --vrf --family --profile --backend --protect --session --ignore --help' ;;
      trace)
         words='--json --all --vrf --family --interface-set --capture --rules --socket --config-root
            --peers-root --help'
         ;;
      convert) words='--to --strict --vrf --family --help' ;;
      nlri) words='--afi --safi --json --encode --shortest --rd --help' ;;
      decode-log) words='--dump --json --help' ;;
      esac
      ;;
   dump:*)
      words='--socket --json --help'
      [[ $current == -* ]] || words=$roots
      ;;
   show:*)
      local what=${COMP_WORDS[2]}
      case $what:$previous in
      *:show) words='rules status counters interfaces unsupported roots rule peers peer routes --help' ;;
      *:--family) words='ipv4 ipv6' ;;
      *:--from) words=$readable ;;
      *:--status)
         words="unprocessed programmed programmedWithFailures unsupportedMatch
            unsupportedTcamProfile unsupportedAction resourceExhausted intfSetResourceExhausted"
         [[ $current != *,* ]] || front=${current%,*},
         ;;
      rules:*) words='--config-root --status-root --json --vrf --family --status' ;;
      status:*) words='--status-root --json --vrf --family --status' ;;
      counters:*)
         words='--counter-root --status-root --cli-config-root --json --vrf --family --status --rate
            --top'
         ;;
      interfaces:*) words='--status-root --cli-config-root --json --vrf --family' ;;
      unsupported:*) words='--status-root --json --vrf --family' ;;
      roots:*) words='--json' ;;
      peers:* | peer:*) words='--peers-root --json' ;;
      routes:*) words='--bgp-root --peers-root --json --vrf --family --peer' ;;
      rule:*) words='--config-root --status-root --counter-root --json --from --vrf --family' ;;
      esac
      [[ $words != --* ]] || words+=' --socket --help'
      ;;
   top:--family) words='ipv4 ipv6' ;;
   top:--by) words='bytes packets' ;;
   top:*) words='--socket --counter-root --cli-config-root --vrf --family --interval --by --top --count --help' ;;
   enable:--family | disable:--family) words='ipv4 ipv6' ;;
   enable:*) words='--socket --cli-config-root --family --vrf --help' ;;
   disable:*) words='--socket --cli-config-root --family --help' ;;
   interface-set:* | vrf-override:*) words='--socket --cli-config-root --help' ;;
   refresh:*)
      if [[ ${COMP_WORDS[2]} == peer ]] && (( COMP_CWORD > 2 )); then
         words='--socket --peers-root --peer-requests-root --help'
         [[ $current == -* ]] || words='in out'
         [[ $current == -* || $previous != peer ]] || return
      else
         words='--socket --cli-config-root --counter-root --help'
         [[ $previous != refresh ]] || words="peer $words"
      fi
      ;;
   record:* | replay:* | diff:*)
      if [[ $current != -* ]]; then
         compopt -o filenames
         mapfile -t COMPREPLY < <( compgen -f -- "$current" )
         return
      fi
      case $command in
      record) words='--socket --once --help' ;;
      replay) words='--socket --help' ;;
      diff) words='--socket --json --help' ;;
      esac
      ;;
   watch:*) words='--socket --json --initial --help' ;;
   types:*)
      words='--json --help'
      if [[ $current != -* ]]; then
         # Bash takes a name apart at its colons.
         local module=
         [[ $previous != :: ]] || module=${COMP_WORDS[COMP_CWORD - 2]}::
         [[ $current != :: ]] || { module=$previous:: current=; }
         words=$( "${COMP_WORDS[0]}" types 2>/dev/null | sed -n "s/^### $module//p" )
      fi
      ;;
   vocab:*) words='--json --help' ;;
   *)
      words='key rule check explain lint trace convert nlri vocab decode-log dump show top refresh enable disable
         interface-set vrf-override watch record replay diff types --help --version'
      ;;
   esac
   mapfile -t COMPREPLY < <( compgen -P "$front" -W "$words" -- "${current#"$front"}" )
}
complete -F _flowspecctl flowspecctl
