#!/bin/bash
# Asks bash, zsh and fish what they offer behind "encmgr ...", and man's checkers what they think of the pages.
# shellcheck disable=SC2317 # functions are called by their names in variables
# Usage: shells.sh BUILD_FOLDER. Exits with 77 where one of these programs isn't installed.
for tool in zsh fish mandoc groff; do
    command -v $tool >/dev/null || { echo "$tool isn't installed"; exit 77; }
done
build=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
touch film.mov
export PATH=$build/bin:$PATH HOME=$folder
failed=0

# expect SHELL LINE WORDS: what the shell offers behind the line, in order.
expect() {
    local offered
    offered=" $("$1_offers" "$2" | sort -u | tr '\n' ' ')"
    [ "$offered" = " $3 " ] && return
    echo "$1: behind \"$2\" it offers \"$offered\", not \"$3\""
    failed=1
}

# shellcheck disable=SC1091
. "$build/share/bash-completion/completions/encmgr"
bash_offers() {
    COMP_LINE=$1 COMP_POINT=${#1} COMP_WORDS=(encmgr)
    _encmgr
    printf '%s\n' "${COMPREPLY[@]}"
}
fish_offers() {
    fish -N -c "source $build/share/fish/vendor_completions.d/encmgr.fish; complete -C '$1'" | cut -f 1
}
# A terminal of its own, in which the line and a tab are typed. Whoever adds matches writes them down first.
cat >.zshrc <<EOF
fpath=($build/share/zsh/site-functions \$fpath)
autoload -Uz compinit
compinit -u -D
compadd() {
    local -a found
    builtin compadd -O found "\$@"
    print -l -- \$found >>offered
    builtin compadd "\$@"
    comppostfuncs=(note_end)
}
note_end() { touch ended; }
precmd() { touch ended; }
EOF
mkfifo keys
ZDOTDIR=$folder timeout 60 script -qec 'zsh -i' /dev/null <keys >/dev/null 2>&1 &
exec 3>keys
wait_for_end() {
    for ((i = 0; i < 100; ++i)); do
        [ -e ended ] && break
        sleep 0.05
    done
    rm -f ended
}
wait_for_end # of its start
zsh_offers() {
    printf '%s\t' "$1" >&3
    wait_for_end
    printf '\025' >&3 # away with the line
    [ -e offered ] && grep . offered
    rm -f offered
}

for shell in bash fish zsh; do
    expect $shell 'encmgr enc' encode
    expect $shell 'encmgr encode x --resamp' --resampler
    expect $shell 'encmgr encode x --resampler ' 'filter library'
    expect $shell 'encmgr encode x --fit 16' 16:9
    expect $shell 'encmgr encode x --vc FF' FFV1
    expect $shell 'encmgr encode x -f W' 'WAV WEBM'
    expect $shell 'encmgr encode x --config we' web
    expect $shell 'encmgr encode fi' film.mov
    expect $shell 'encmgr help pro' probe
done
expect bash 'encmgr encode --fit=16:' 9
expect bash 'encmgr list --js' --json

for page in "$build"/share/man/man1/*; do
    said=$(mandoc -Tlint "$page" 2>&1; groff -ww -man -Tutf8 "$page" 2>&1 >/dev/null)
    [ -z "$said" ] || { echo "$said"; failed=1; }
done
exec 3>&-
exit $failed
