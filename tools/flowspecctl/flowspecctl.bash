# bash completion for flowspecctl

_flowspecctl() {
   local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
   local readable='cli cli-len rd rd-len value diag json'
   local words='' front=''
   COMPREPLY=()

   local command=
   (( COMP_CWORD < 2 )) || command=${COMP_WORDS[1]}
   case $command:$previous in
   key:--from | check:--from) words=$readable ;;
   key:--to)
      # A list: completes what stands behind the last comma.
      words="$readable detail rd-detail words"
      [[ $current != *,* ]] || front=${current%,*},
      ;;
   convert:--to) words='cli cli-len value diag json detail words' ;;
   key:--family | check:--family | convert:--family) words='ipv4 ipv6' ;;
   key:--rd | key:--vrf | convert:--vrf) return ;;
   key:* | check:* | convert:* | decode-log:*)
      if [[ $current != -* ]]; then
         compopt -o filenames
         mapfile -t COMPREPLY < <( compgen -f -- "$current" )
         return
      fi
      case $command in
      key) words='--from --to --sort --unique --json --table --rd --vrf --family --help' ;;
      check) words='--from --json --family --help' ;;
      convert) words='--to --vrf --family --help' ;;
      decode-log) words='--dump --json --help' ;;
      esac
      ;;
   dump:*) words='--socket --json --help' ;;
   vocab:* | types:*) words='--json --help' ;;
   *) words='key check convert vocab decode-log dump types --help --version' ;;
   esac
   mapfile -t COMPREPLY < <( compgen -P "$front" -W "$words" -- "${current#"$front"}" )
}
complete -F _flowspecctl flowspecctl
