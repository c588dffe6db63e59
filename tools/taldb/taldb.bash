# bash completion for taldb: commands, options, and the table names of the
# database the command line points at. The names come from the tool itself
# ("taldb tables"), so the completion never needs to know the layout on disk.

_taldb_tables() {
  local -a where=()
  local i
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      --root | --config) where+=("${COMP_WORDS[i]}" "${COMP_WORDS[i + 1]}") ;;
    esac
  done
  "${COMP_WORDS[0]}" "${where[@]}" tables --format csv --no-header 2>/dev/null | cut -d, -f1
}

_taldb() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  local commands="create tables schema list get count add put update delete seed import
    add-table drop-table clear drop recover check repair dump backup restore demo"
  local options="--root --config --format --no-header --quiet -q --verbose -v --help -h
    --version -V"

  case $prev in
    --root) COMPREPLY=($(compgen -d -- "$cur")); return ;;
    --config | --description) COMPREPLY=($(compgen -f -- "$cur")); return ;;
    --format) COMPREPLY=($(compgen -W "table csv json ini sql" -- "$cur")); return ;;
  esac

  # The command is the first word that is neither an option nor an option's value.
  local command="" position=0 i
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      --root | --config | --format | --description | --id | --host) ((i++)) ;;
      -*) ;;
      *) if [[ -z $command ]]; then command=${COMP_WORDS[i]}; else ((position++)); fi ;;
    esac
  done

  if [[ $cur == -* ]]; then
    case $command in
      create) options+=" --id --host" ;;
      drop) options+=" --yes" ;;
      repair) options+=" --dry-run" ;;
      import) options+=" --put --from-line --batch-check --trim" ;;
      add | put | update) options+=" --trim" ;;
      demo) options+=" --description" ;;
      dump | backup | restore) options+=" --allow-partial" ;;
    esac
    COMPREPLY=($(compgen -W "$options" -- "$cur"))
    return
  fi
  if [[ -z $command ]]; then
    COMPREPLY=($(compgen -W "$commands" -- "$cur"))
    return
  fi
  case $command in
    create | backup | restore) COMPREPLY=($(compgen -f -- "$cur")) ;;
    seed | import)
      if ((position == 0)); then
        COMPREPLY=($(compgen -W "$(_taldb_tables)" -- "$cur"))
      else
        COMPREPLY=($(compgen -f -- "$cur"))
      fi
      ;;
    schema | list | get | count | add | put | update | delete | drop-table | clear | dump | repair)
      if ((position == 0)); then COMPREPLY=($(compgen -W "$(_taldb_tables)" -- "$cur")); fi
      ;;
    demo) COMPREPLY=($(compgen -d -- "$cur")) ;;
  esac
}

complete -F _taldb taldb
