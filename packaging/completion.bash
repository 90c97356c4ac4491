# bash completion for brannow

_brannow() {
  local cur prev words cword
  _init_completion || return
  local command= word
  for word in "${words[@]:1:cword-1}"; do
    case $word in
      view | render | filter | describe | check | export | cache) command=$word && break ;;
    esac
  done

  case $prev in
    --format) COMPREPLY=($(compgen -W 'y4m rgba' -- "$cur")) && return ;;
    -o | --output) [[ $command == export ]] && _filedir so && return ;;&
    --template) _filedir so && return ;;
    --cache) _filedir -d && return ;;
    -o | --output) _filedir png && return ;;
    --input) _filedir '@(png|vuo)' && return ;;
    --preset) _filedir json && return ;;
    --record) _filedir y4m && return ;;
    --size | --display | --output-display | --osc | --set | --image | --print | --fps | --start | --timeout | --frames) return ;;
  esac

  local scene='--size --in-process --cache --preset --start --help'
  local pictures="$scene -o --output --format --set --image --print --fps --timeout"
  local options
  case $command in
    view) options="$scene --input --display --output-display --fullscreen --record --fps --osc --paused" ;;
    render) options="$pictures --frames --realtime" ;;
    filter) options="$pictures --input" ;;
    describe | check) options='--json --help' ;;
    export) options='--frei0r --output --in-process --template --help' ;;
    cache) options='--json --cache --help' ;;
    *) options='--help --version' ;;
  esac
  if [[ $cur == -* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$cur"))
  elif [[ $command == cache ]]; then
    COMPREPLY=($(compgen -W 'list clear' -- "$cur"))
  elif [[ $command ]]; then
    _filedir vuo
  else
    COMPREPLY=($(compgen -W 'view render filter describe check export cache' -- "$cur"))
  fi
} && complete -F _brannow brannow
