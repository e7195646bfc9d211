# SPDX-License-Identifier: BSD-2-Clause
# Completion of quorvel-stabilize for bash.
_quorvel_stabilize() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} words=
    local options="--start --duration --input-format --input-option --size --format --fps --force --live
        --lookahead --whole --window --strength --no-roll --bilinear --standard --mode --crop --out-size --scale
        --zoom --split --side-by-side --preview --codec --crf --preset --bitrate --codec-option --output-format
        --no-audio --threads --overwrite --trace --plot --report --dry-run --json --quiet --verbose --help --version"
    case $before in
    --mode) words="rotate shift none" ;;
    --format) words="nv21 i420" ;;
    --threads) words="0 1 2 3 4" ;;
    --window) words="auto 80 87.5 90 95" ;;
    --codec) words="libx264 libx265 libsvtav1 libvpx-vp9 ffv1 mpeg4" ;;
    --preset) words="ultrafast superfast veryfast faster fast medium slow slower veryslow" ;;
    --input-format) words="v4l2 x11grab mpegts matroska lavfi" ;;
    --output-format) words="mp4 matroska mpegts nut y4m" ;;
    --trace | --plot | --report) mapfile -t COMPREPLY < <(compgen -f -- "$word") && return ;;
    --start | --duration | --*-option | --size | --fps | --lookahead | --strength | --crop | --out-size | --scale | \
        --crf | --bitrate)
        COMPREPLY=() && return ;;
    *)
        if [[ $word != -* ]]; then
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
            return
        fi
        words=$options
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o filenames -F _quorvel_stabilize quorvel-stabilize
