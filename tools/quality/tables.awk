# SPDX-License-Identifier: BSD-2-Clause
# Tables of docs/quality.md and README.md from lines of: clip;way;before row, col, roll;after row, col, roll;visible;
# invented;lost;sharpness;error row, col, roll (of ours, with a known path). -v table=NAME chooses one.

function root(x, y) { return sqrt(x * x + y * y) }

# What is left: translation in pixels of the output over those of the input, roll in radians.
function translation(key) { return root(row[key], col[key]) / sqrt(visible[key]) / root(row0[key], col0[key]) }
function turning(key) { return roll[key] / roll0[key] }
function is_still(name) { return name ~ /^tripod/ }

function median(values, n,    i, k, t) {
    for (i = 2; i <= n; i++)
        for (k = i; k > 1 && values[k] < values[k - 1]; k--) {
            t = values[k]; values[k] = values[k - 1]; values[k - 1] = t
        }
    return n % 2 ? values[(n + 1) / 2] : (values[n / 2] + values[n / 2 + 1]) / 2
}

# Over the clips that shake: a way's medians, and the worst of what it invented. Sharpness of the real clips alone.
function summarize(way,    i, key, n, k, a, b, c, d, e) {
    for (i = 1; i <= clips; i++) {
        key = clip[i] SUBSEP way
        if (!(key in row)) continue
        if (sharp[key] != "" && clip[i] ~ /mp4$/) c[++k] = sharp[key]
        if (is_still(clip[i])) continue
        a[++n] = translation(key)
        b[n] = turning(key)
        d[n] = visible[key]
        if (invented[key] > e) e = invented[key]
    }
    count_of = n
    t_of = median(a, n)
    r_of = median(b, n)
    v_of = median(d, n)
    s_of = k ? median(c, k) : ""
    i_of = e
}

# Of a table with a column for each way that is shown.
function heading(text, line,    k) {
    for (k = 1; k <= n; k++) {
        text = text " " shown[k] " |"
        line = line "---|"
    }
    print text "\n" line
}

function cell(key) { return sprintf(" %.2f, %.2f, %.2f |", row[key], col[key], roll[key]) }

{
    key = $1 SUBSEP $2
    if (!($1 in seen)) { clip[++clips] = $1; seen[$1] = 1 }
    if (!($2 in known)) { way[++ways] = $2; known[$2] = 1 }
    row0[key] = $3; col0[key] = $4; roll0[key] = $5
    row[key] = $6; col[key] = $7; roll[key] = $8
    visible[key] = $9; invented[key] = $10; lost[key] = $11; sharp[key] = $12
    if (NF > 12) error[key] = sprintf(" %.3f, %.3f, %.3f |", $13, $14, $15)
    if (table == "files")
        lines[NR] = sprintf("| %s | %.2f → %.2f | %.2f → %.2f | %.2f → %.2f | %.1f %% | %.2f %% | %d |", $1, $3, $6,
                            $4, $7, $5, $8, 100 * $9, 100 * $10, $11)
}

END {
    if (table == "files") {
        print "| clip | rows, px | columns, px | roll, mrad | visible | invented | lost |"
        print "|---|---|---|---|---|---|---|"
        for (i = 1; i <= NR; i++) print lines[i]
    }
    if (table == "summary") {
        print "| | translation left | roll left | visible | invented | sharpness |"
        print "|---|---|---|---|---|---|"
        for (i = 1; i <= ways; i++) {
            if (way[i] ~ /at the area/) continue
            summarize(way[i])
            printf "| %s | %.1f %% | %.1f %% | %.0f %% | %.2f %% | %.2f |\n", way[i], 100 * t_of, 100 * r_of,
                   100 * v_of, 100 * i_of, s_of
        }
    }
    if (table == "readme") {
        names["file, by default"] = "a file, by default; a delay of 1 s"
        names["whole clip"] = "`--whole`; the file is read twice"
        names["live"] = "`--live`, the default of cameras and pipes; no delay"
        names["standard"] = "`--standard`, the library's default; no delay"
        names["deshake"] = "ffmpeg's `deshake`; no delay"
        names["vidstab"] = "ffmpeg's `vidstab`; two passes"
        names["vidstab, gauss, smoothing 30"] = "the same, `optalgo=gauss:smoothing=30`"
        n = split("file, by default;whole clip;live;standard;deshake;vidstab;vidstab, gauss, smoothing 30", shown, ";")
        print "| | shift left | roll left | visible | invented |"
        print "|---|---|---|---|---|"
        for (k = 1; k <= n; k++) {
            summarize(shown[k])
            printf "| %s | %.1f %% | %.1f %% | %.0f %% | %.1f %% |\n", names[shown[k]], 100 * t_of, 100 * r_of,
                   100 * v_of, 100 * i_of
        }
    }
    if (table == "clips") {
        n = split("standard;live;lookahead of 15 frames;lookahead of 30 frames;file, by default;whole clip", shown, ";")
        heading("| clip | input |", "|---|---|")
        for (i = 1; i <= clips; i++) {
            key = clip[i] SUBSEP shown[1]
            printf "| %s | %.2f, %.2f, %.2f |", clip[i], row0[key], col0[key], roll0[key]
            for (k = 1; k <= n; k++) printf "%s", cell(clip[i] SUBSEP shown[k])
            printf "\n"
        }
    }
    if (table == "errors") {
        print "| clip | standard | refined |"
        print "|---|---|---|"
        for (i = 1; i <= clips; i++)
            if ((clip[i] SUBSEP "live") in error)
                printf "| %s |%s%s\n", clip[i], error[clip[i] SUBSEP "standard"], error[clip[i] SUBSEP "live"]
    }
    if (table == "rates") {
        n = split("standard;live;lookahead of 30 frames;file, by default;whole clip", shown, ";")
        heading("| frames a second |", "|---|")
        for (i = 1; i <= clips; i++) {
            if (clip[i] !~ /frames a second|640x360/) continue
            printf "| %s |", clip[i] ~ /640x360/ ? 30 : clip[i] + 0
            for (k = 1; k <= n; k++) {
                key = clip[i] SUBSEP shown[k]
                printf " %.1f %%, %.1f %% |", 100 * translation(key), 100 * turning(key)
            }
            printf "\n"
        }
    }
    if (table == "area") {
        n = split("vidstab;lookahead of 30 frames, at the area of vidstab;vidstab, gauss, smoothing 30;" \
                  "whole clip, at the area of vidstab, gauss, smoothing 30", shown, ";")
        print "| clip | visible | vidstab | lookahead of 30 frames | visible | gauss, smoothing 30 | whole clip |"
        print "|---|---|---|---|---|---|---|"
        for (i = 1; i <= clips; i++) {
            if (is_still(clip[i])) continue
            printf "| %s |", clip[i]
            for (k = 1; k <= n; k++) {
                key = clip[i] SUBSEP shown[k]
                if (k % 2 == 1) printf " %.0f %% |", 100 * visible[key]
                printf " %.1f %%, %.1f %% |", 100 * translation(key), 100 * turning(key)
                if (k % 2 == 0) {
                    other = clip[i] SUBSEP shown[k - 1]
                    better[k] += translation(key) < translation(other) && turning(key) < turning(other)
                }
            }
            printf "\n"
        }
        printf "| **median** |"
        for (k = 1; k <= n; k++) {
            summarize(shown[k])
            if (k % 2 == 1) printf " %.0f %% |", 100 * v_of
            printf " **%.1f %%, %.1f %%** |", 100 * t_of, 100 * r_of
        }
        printf "\n| better in both | | | %d of %d | | | %d of %d |\n", better[2], count_of, better[4], count_of
    }
}
