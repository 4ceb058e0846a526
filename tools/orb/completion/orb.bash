# bash completion for orb

_orb_commands="create info get set dump params import export copy diff check explain plot library calibrate peaks fit eval region simulate analyze batch report nuclides run sequence engines"

# The command on the line, and how many plain arguments stand between it and the cursor.
_orb_look() {
  local i word previous=""
  command="" position=0
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    case $previous in
      --channels | --detector | --record | --entry | --class | --spectrum | --format | --calibrations | -o | --output | --range | --width | --height | --title | --energy | --fwhm | --tail | --efficiency | --points | --auto | --library | --terms | \
        --threshold | --start | --end | --continuum | --free-channels | --free-fwhm | --model | --channel | --nuclides | \
        --live-time | --background | --seed | --report | --sequence | --aef | --engines | --truth | --jobs | --csv | --tol | --name | --at | \
        --options | --description)
        previous=""
        continue
        ;;
    esac
    previous=$word
    [[ $word == -* ]] && continue
    if [[ -z $command ]]; then command=$word; else position=$((position + 1)); fi
  done
}

_orb_options() {
  case $command in
    "") echo "--help --version --verbose" ;;
    create) echo "--channels --detector --force --verbose --help" ;;
    info) echo "--json --watch --verbose --help" ;;
    diff | check | explain) echo "--json --verbose --help" ;;
    get | set) echo "--record --entry --verbose --help" ;;
    dump) echo "--class --json --verbose --help" ;;
    params) echo "--names --json --verbose --help" ;;
    import) echo "--detector --spectrum --force --verbose --help" ;;
    export) echo "--format --force --verbose --help" ;;
    calibrate) echo "--energy --fwhm --tail --efficiency --points --auto --library --terms --json --verbose --help" ;;
    peaks) echo "--range --threshold --json --verbose --help" ;;
    fit) echo "--start --end --continuum --free-channels --free-fwhm --json --verbose --help" ;;
    eval) echo "--model --json --verbose --help" ;;
    region) echo "--channel --energy --from-counts --json --verbose --help" ;;
    simulate) echo "--nuclides --detector --live-time --background --channels --seed --library --force --verbose --help" ;;
    library) echo "--title --force --verbose --help" ;;
    plot) echo "--output --log --range --width --height --force --verbose --help" ;;
    analyze) echo "--output --report --detector --spectrum --library --sequence --aef --engines --isolate --truth --limits --force --json --verbose --help" ;;
    batch) echo "--output --jobs --csv --library --sequence --aef --engines --isolate --force --verbose --help" ;;
    report) echo "--output --force --verbose --help" ;;
    nuclides) echo "--library --energy --tol --name --limits --json --verbose --help" ;;
    run) echo "--sequence --aef --engines --isolate --skip-errors --json --verbose --help" ;;
    sequence) echo "--title --library --at --options --description --force --json --verbose --help" ;;
    engines) echo "--aef --engines --check --json --verbose --help" ;;
    copy) echo "--class --all --calibrations --force --verbose --help" ;;
  esac
}

# Completes the words of a list; bash 4 and later.
_orb_words() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2"); }

_orb() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local command position
  _orb_look
  COMPREPLY=()
  case $previous in
    --detector) _orb_words "hpge nai" "$current"; return ;;
    --format) _orb_words "spe n42 csv json" "$current"; return ;;
    --calibrations) _orb_words "energy shape efficiency peak2total tojo all" "$current"; return ;;
    --channels | --record | --entry | --class | --spectrum | --range | --width | --height) return ;;
  esac
  if [[ $current == -* ]]; then
    _orb_words "$(_orb_options)" "$current"
  elif [[ -z $command ]]; then
    _orb_words "$_orb_commands" "$current"
  elif [[ ($command == get || $command == set) && $position -eq 1 ]]; then
    # Names are known in any case.
    _orb_words "$("${COMP_WORDS[0]}" params --names 2>/dev/null)" "${current^^}"
  elif [[ $command == sequence && $position -eq 0 ]]; then
    _orb_words "new show add remove" "$current"
  elif [[ $command != params && $command != explain ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
    compopt -o filenames 2>/dev/null
  fi
}

complete -F _orb orb
