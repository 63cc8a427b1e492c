#!/usr/bin/env bash
# Black-box checks of `quillon image` and `quillon skin`: every format the editor reads comes
# out as a PNG with the right pixels, the format is told from the bytes, and bad input ends in
# one line on standard error with status 1.
quillon="$1"
source "$(dirname "$0")/clitest.sh"

# A 16 x 8 JPEG of a red-green ramp on blue 128 (red x * 16, green y * 32).
jpeg64='/9j/4AAQSkZJRgABAQAAAQABAAD/2wBDAAMCAgMCAgMDAwMEAwMEBQgFBQQEBQoHBwYIDAoMDAsKCwsNDhIQDQ4RDgsLEBYQERMUFRUVDA8XGBYUGBIUFRT/2wBDAQMEBAUEBQkFBQkUDQsNFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBT/wAARCAAIABADASIAAhEBAxEB/8QAHwAAAQUBAQEBAQEAAAAAAAAAAAECAwQFBgcICQoL/8QAtRAAAgEDAwIEAwUFBAQAAAF9AQIDAAQRBRIhMUEGE1FhByJxFDKBkaEII0KxwRVS0fAkM2JyggkKFhcYGRolJicoKSo0NTY3ODk6Q0RFRkdISUpTVFVWV1hZWmNkZWZnaGlqc3R1dnd4eXqDhIWGh4iJipKTlJWWl5iZmqKjpKWmp6ipqrKztLW2t7i5usLDxMXGx8jJytLT1NXW19jZ2uHi4+Tl5ufo6erx8vP09fb3+Pn6/8QAHwEAAwEBAQEBAQEBAQAAAAAAAAECAwQFBgcICQoL/8QAtREAAgECBAQDBAcFBAQAAQJ3AAECAxEEBSExBhJBUQdhcRMiMoEIFEKRobHBCSMzUvAVYnLRChYkNOEl8RcYGRomJygpKjU2Nzg5OkNERUZHSElKU1RVVldYWVpjZGVmZ2hpanN0dXZ3eHl6goOEhYaHiImKkpOUlZaXmJmaoqOkpaanqKmqsrO0tba3uLm6wsPExcbHyMnK0tPU1dbX2Nna4uPk5ebn6Onq8vP09fb3+Pn6/9oADAMBAAIRAxEAPwDy3wn+yp9z/Q//AB2vZvCf7Kn3P9D/APHaKK8bOeJ8z1/eHyPhtxjnHufve39bn//Z'
echo "$jpeg64" | base64 -d >"$work/ramp.jpg"

# Writers of the test files and a PNG reader (8-bit, not interlaced), in Python's standard library.
cat >"$work/img.py" <<'PY'
import struct, sys, zlib

def chunk(kind, data):
    return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))

def write_png(path, width, height, rgba):
    rows = b''.join(b'\0' + bytes(rgba[(y * width) * 4:(y * width + width) * 4]) for y in range(height))
    ihdr = struct.pack('>IIBBBBB', width, height, 8, 6, 0, 0, 0)
    open(path, 'wb').write(b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', ihdr) + chunk(b'IDAT', zlib.compress(rows)) + chunk(b'IEND', b''))

def rpic_header(width, height, frames, kind, first, second):
    return b'RPIC' + struct.pack('<iiiiiiii', width, height, frames, kind, first, second, -1, -1)

def read_png(path):
    data = open(path, 'rb').read()
    assert data[:8] == b'\x89PNG\r\n\x1a\n'
    pos, idat = 8, b''
    while pos < len(data):
        n, kind = struct.unpack('>I4s', data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + n]
        if kind == b'IHDR':
            width, height, depth, colour, _, _, interlace = struct.unpack('>IIBBBBB', body)
        elif kind == b'IDAT':
            idat += body
        pos += 12 + n
    assert depth == 8 and interlace == 0
    channels = {6: 4, 4: 2, 2: 3, 0: 1}[colour]
    raw, stride, out, prev = zlib.decompress(idat), width * channels, [], bytearray(width * channels)
    for y in range(height):
        f, row = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            a = row[i - channels] if i >= channels else 0
            b, c = prev[i], prev[i - channels] if i >= channels else 0
            p = a + b - c
            pred = [0, a, b, (a + b) // 2, a if abs(p - a) <= abs(p - b) and abs(p - a) <= abs(p - c) else (b if abs(p - b) <= abs(p - c) else c)][f]
            row[i] = (row[i] + pred) & 255
        out.append(bytes(row))
        prev = row
    return width, height, colour, out

cmd = sys.argv[1]
if cmd == 'png':  # path: a 3 x 2 picture with alpha
    write_png(sys.argv[2], 3, 2, [10, 20, 30, 255, 40, 50, 60, 128, 70, 80, 90, 0, 1, 2, 3, 4, 200, 100, 50, 255, 255, 255, 255, 255])
elif cmd == 'rpic0':  # path: the same picture as RPIC type 0 (pixels blue, green, red, alpha)
    rgba = [10, 20, 30, 255, 40, 50, 60, 128, 70, 80, 90, 0, 1, 2, 3, 4, 200, 100, 50, 255, 255, 255, 255, 255]
    bgra = b''.join(bytes([rgba[i + 2], rgba[i + 1], rgba[i], rgba[i + 3]]) for i in range(0, 24, 4))
    z = zlib.compress(bgra)
    open(sys.argv[2], 'wb').write(rpic_header(3, 2, 0, 0, len(z), 0) + z)
elif cmd == 'rpic2':  # jpeg path: 16 x 8, frames of 4 rows; the second frame stores 128 (no change)
    jpeg = open(sys.argv[2], 'rb').read()
    alpha = zlib.compress(bytes([(x * 16 + y) & 255 for y in range(4) for x in range(16)]) + bytes([128] * 64))
    open(sys.argv[3], 'wb').write(rpic_header(16, 8, 4, 2, len(jpeg), len(alpha)) + jpeg + alpha)
elif cmd == 'rpic':  # path width height type: a header alone
    open(sys.argv[2], 'wb').write(rpic_header(int(sys.argv[3], 0), int(sys.argv[4]), 0, int(sys.argv[5]), 0, 0))
elif cmd == 'mask':  # path compressed: 4 x 2 coverage
    body = b'MASK' + struct.pack('<iiii', 4, 2, 0, 0) + bytes([0, 64, 128, 255, 1, 2, 3, 4])
    open(sys.argv[2], 'wb').write(zlib.compress(body) if sys.argv[3] == '1' else body)
elif cmd == 'show':  # path: "W H colour" then every pixel in hex, one row a line
    w, h, colour, rows = read_png(sys.argv[2])
    print(w, h, colour)
    for row in rows:
        print(row.hex())
PY
img() { python3 "$work/img.py" "$@"; }

# RPIC type 0 keeps every pixel exactly, alpha included; the default output is IN with .png.
img rpic0 "$work/pic.rpic"
"$quillon" image "$work/pic.rpic" >"$work/out" || fail "RPIC type 0 refused"
grep -q '3 x 2' "$work/out" || fail "the size is not reported: $(cat "$work/out")"
[ -s "$work/pic.png" ] || fail "default output pic.png missing"
expected=$'3 2 6\n0a141eff28323c8046505a00\n01020304c86432ffffffffff'
[ "$(img show "$work/pic.png")" = "$expected" ] || fail "RPIC pixels differ: $(img show "$work/pic.png")"

# A PNG reads to the same pixels; the format comes from the bytes, not the name.
img png "$work/in.png"
"$quillon" image "$work/in.png" -o "$work/from-png.png" >/dev/null || fail "PNG refused"
[ "$(img show "$work/from-png.png")" = "$expected" ] || fail "PNG pixels differ"
cp "$work/pic.rpic" "$work/disguised.dat"
"$quillon" image "$work/disguised.dat" -o "$work/disguised.png" >/dev/null || fail "RPIC named .dat refused"
[ "$(img show "$work/disguised.png")" = "$expected" ] || fail "RPIC named .dat decoded differently"
# An input already named .png doesn't overwrite itself.
"$quillon" image "$work/in.png" >/dev/null && [ -s "$work/in.decoded.png" ] || fail "a .png input has no own output name"

# JPEG: the ramp within the codec's error, opaque.
"$quillon" image "$work/ramp.jpg" -o "$work/ramp.png" >/dev/null || fail "JPEG refused"
w_h=$(img show "$work/ramp.png" | sed -n 1p)
[ "$w_h" = "16 8 6" ] || fail "JPEG size or colour type: $w_h"
# Row 4, pixel 8: red 128, green 128, blue 128 within 12; alpha 255.
img show "$work/ramp.png" | sed -n 6p | python3 -c '
import sys; row = bytes.fromhex(sys.stdin.read().strip()); p = row[8 * 4:8 * 4 + 4]
sys.exit(0 if all(abs(v - 128) <= 12 for v in p[:3]) and p[3] == 255 else 1)' || fail "JPEG pixel off the ramp"

# RPIC type 2: JPEG colours, the alpha plane with a second frame copying the first.
img rpic2 "$work/ramp.jpg" "$work/strip.rpic"
"$quillon" image "$work/strip.rpic" -o "$work/strip.png" >/dev/null || fail "RPIC type 2 refused"
img show "$work/strip.png" | tail -n 8 | python3 -c '
import sys
rows = [bytes.fromhex(l.strip()) for l in sys.stdin]
alpha = [[row[x * 4 + 3] for x in range(16)] for row in rows]
ok = all(alpha[y][x] == (x * 16 + y) & 255 for y in range(4) for x in range(16)) and alpha[4:] == alpha[:4]
sys.exit(0 if ok else 1)' || fail "RPIC type 2 alpha or frame coding wrong"

# MASK, plain and compressed, as grey and alpha.
for packed in 0 1; do
  img mask "$work/icon$packed.mask" $packed
  "$quillon" image "$work/icon$packed.mask" -o "$work/icon$packed.png" >/dev/null || fail "MASK ($packed) refused"
  [ "$(img show "$work/icon$packed.png")" = $'4 2 4\n00000040008000ff\n0001000200030004' ] \
    || fail "MASK ($packed) pixels: $(img show "$work/icon$packed.png")"
done

# Bad input: one line, status 1, and an existing output left as it was.
: >"$work/empty"
expect_refusal "empty file" image "$work/empty"
printf 'neither an image nor anything else' >"$work/noise"
expect_refusal "noise" image "$work/noise"
expect_refusal "missing file" image "$work/does-not-exist.rpic"
img rpic "$work/wide.rpic" 0x40001 1 0
expect_refusal "width beyond the limit" image "$work/wide.rpic"
grep -q 'RPIC file is corrupt.' "$work/err" || fail "corrupt RPIC message: $(cat "$work/err")"
img rpic "$work/type3.rpic" 2 2 3
expect_refusal "unknown type" image "$work/type3.rpic"
grep -q 'Unknown RPIC file type. Please update the software.' "$work/err" || fail "type 3 message: $(cat "$work/err")"
img rpic "$work/nothing.rpic" 0 5 0
expect_refusal "zero-sized image" image "$work/nothing.rpic" -o "$work/nothing.png"
grep -q 'Empty image cannot be saved to PNG.' "$work/err" || fail "empty image message: $(cat "$work/err")"
head -c 60 "$work/in.png" >"$work/cut.png"
cp "$work/pic.png" "$work/kept.png"
expect_refusal "truncated PNG" image "$work/cut.png" -o "$work/kept.png"
grep -q 'Error loading a PNG file.' "$work/err" || fail "PNG message: $(cat "$work/err")"
cmp -s "$work/pic.png" "$work/kept.png" || fail "a refused decode changed the output file"
expect_refusal "no input" image

# The skin: every registered image as a PNG, as many files as it says.
"$quillon" skin "$work/skin" >"$work/out" || fail "skin refused"
[ -d "$work/skin" ] || fail "skin folder not made"
grep -Eq '^wrote [0-9]+ images to ' "$work/out" || fail "skin does not say what it wrote: $(cat "$work/out")"
count=$(grep -Eo '^wrote [0-9]+' "$work/out" | grep -Eo '[0-9]+')
[ "$(find "$work/skin" -name '*.png' | wc -l)" -eq "${count:-x}" ] || fail "skin wrote another number of files than it says"
expect_refusal "skin into a file" skin "$work/empty"

finish "all image command checks passed"
