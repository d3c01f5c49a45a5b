# Completion of zstanza for bash: verbs, options, files, and the stanzas and keys of the named file.

# Takes the line apart up to the cursor, as the shell would but without running anything: into
# `words`, and into `cur` the last one, of which readline replaces what follows the first `kept`
# characters; `quote` is the quote that is open there. Bash's own COMP_WORDS are also divided at ":"
# and "=" and still hold their quotes. Fails where only running a command could tell the words.
_zstanza_take_apart() {
    local line=${COMP_LINE:0:COMP_POINT} c i begun=''
    words=() cur='' kept=0 quote=''
    for ((i = 0; i < ${#line}; ++i)); do
        c=${line:i:1}
        if [[ $quote && $c == "$quote" ]]; then
            quote=''
        elif [[ $quote == "'" ]]; then
            cur+=$c
        elif [[ $c == "\\" ]]; then
            ((++i))
            c=${line:i:1} begun=1
            [[ ! $quote || $c == [\"\$\`\\] ]] || cur+="\\"
            cur+=$c
        elif [[ ${line:i} =~ ^\$([A-Za-z_][A-Za-z_0-9]*) ]]; then
            c=${BASH_REMATCH[1]} begun=1
            cur+=${!c-}
            ((i += ${#c}))
        elif [[ ${line:i:2} == [\$][\(\{\[\'\"] || $c == \` || (! $quote && $c == [\<\>\(\)\;\&\|]) ]]; then
            return 1
        elif [[ $quote ]]; then
            cur+=$c
        elif [[ $c == [\"\'] ]]; then
            quote=$c begun=1 kept=${#cur}
        elif [[ $c == [[:blank:]] ]]; then
            [[ ! $begun ]] || words+=("$cur")
            cur='' kept=0 begun=''
        elif [[ $c == '~' && ! $begun && ${line:i+1:1} == / ]]; then
            cur=$HOME begun=1
        else
            cur+=$c begun=1
            [[ $COMP_WORDBREAKS != *"$c"* ]] || kept=${#cur}
        fi
    done
}

# Offers the names on standard input, each ended by a NUL, keys without the values that follow them.
_zstanza_offer() {
    local name last=''
    while IFS= read -r -d '' name; do
        name=${name%%=*}
        [[ $name == "$cur"* && $name != "$last" ]] || continue
        last=$name
        # Without "--" it would be taken for an option.
        [[ $name != -* || $only == 1 ]] || continue
        name=${name:kept}
        case $quote in
            "'") name=${name//"'"/"'\\''"} ;;
            '"') name=$(printf %s "$name" | sed 's/[\\"$`]/\\&/g') ;;
            *) printf -v name %q "$name" ;;
        esac
        COMPREPLY+=("$name")
    done
}

_zstanza() {
    local words cur kept quote verb='' operands=() word only=0 value=0
    COMPREPLY=()
    _zstanza_take_apart || return 0
    for word in "${words[@]:1}"; do
        if ((value)); then
            value=0
        elif ((only)) || [[ $word != -?* ]]; then
            if [[ $verb ]]; then operands+=("$word"); else verb=$word; fi
        elif [[ $word == -- ]]; then
            only=1
        elif [[ $word == --@(wait|default|text|count) ]]; then
            value=1
        fi
    done
    ((!value)) || return 0
    if [[ ! $verb ]]; then
        mapfile -t COMPREPLY < <(compgen -W 'list get set add unset comment apply check watch --help --version' -- "$cur")
        return
    fi
    if [[ $cur == -* && $only == 0 ]]; then
        local options='--help --version --wait'
        case $verb in
            list) options+=' --json -0 --null' ;;
            get) options+=' --json -0 --null --all --int --bool --default --obfuscated' ;;
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
    case $verb:${#operands[@]} in
        # No reply: then bash completes files.
        check:* | *:0 | apply:1) compopt -o default ;;
        list:1 | [gs]et:[12] | add:[12] | unset:[12] | comment:[12])
            _zstanza_offer < <(zstanza list -0 --wait 0 -- "${operands[@]}" 2>/dev/null </dev/null) ;;
    esac
}

complete -F _zstanza zstanza
