# Completion of zstanza for bash: verbs, options, files, and the stanzas and keys of the named file.

_zstanza_names() { # what zstanza lists, one name per NUL, keys without their values
    zstanza list -0 --wait 0 -- "$@" 2>/dev/null
}

_zstanza() {
    local cur=${COMP_WORDS[COMP_CWORD]} verb='' operands=() word name i only=0
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if ((!only)); then
            case $word in
                --) only=1; continue ;;
                --wait | --default | --text | --count) ((++i)); [ "${COMP_WORDS[i]-}" = = ] && ((++i)); continue ;;
                -*) continue ;;
            esac
        fi
        # Words stand there as they were typed, quotes and all.
        eval "word=$word" 2>/dev/null || true
        if [ -z "$verb" ]; then verb=$word; else operands+=("$word"); fi
    done
    if [ -z "$verb" ]; then
        mapfile -t COMPREPLY < <(compgen -W 'list get set add unset comment apply check watch --help --version' -- "$cur")
        return
    fi
    if [[ $cur == -* && $only == 0 ]]; then
        local options='--help --version --wait'
        case $verb in
            list) options+=' --json -0' ;;
            get) options+=' --json -0 --all --int --bool --default --obfuscated' ;;
            set) options+=' --obfuscated --create --dry-run --diff' ;;
            add) options+=' --obfuscated --dry-run --diff' ;;
            unset) options+=' --dry-run --diff' ;;
            comment) options+=' --text --dry-run --diff' ;;
            apply) options+=' --create --dry-run --diff' ;;
            check) options+=' --json' ;;
            watch) options+=' --json --count' ;;
        esac
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
        return
    fi
    local plain=$cur names=()
    eval "plain=$cur" 2>/dev/null || plain=${cur#[\"\']}
    case $verb:${#operands[@]} in
        check:* | *:0 | apply:1)
            mapfile -t COMPREPLY < <(compgen -f -- "$plain")
            compopt -o filenames
            return ;;
        list:1 | get:1 | set:1 | add:1 | unset:1 | comment:1)
            while IFS= read -r -d '' name; do names+=("$name"); done < <(_zstanza_names "${operands[0]}") ;;
        get:2 | set:2 | add:2 | unset:2 | comment:2)
            while IFS= read -r -d '' name; do
                name=${name%%=*}
                [[ ${#names[@]} -gt 0 && ${names[-1]} == "$name" ]] || names+=("$name")
            done < <(_zstanza_names "${operands[0]}" "${operands[1]}") ;;
    esac
    for name in "${names[@]}"; do
        [[ $name == "$plain"* ]] && COMPREPLY+=("$(printf '%q' "$name")")
    done
}

complete -F _zstanza zstanza
