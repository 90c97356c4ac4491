#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform int rows;
uniform float roundness;
uniform float gain;
uniform vec4 board;

void main() {
  vec2 size = vec2(textureSize(image, 0));
  vec2 grid = vec2(floor(float(max(rows, 1)) * size.x / size.y), float(max(rows, 1)));
  vec2 cell = floor(uv * grid);
  vec2 off = uv * grid - cell - 0.5;
  // A lamp has the color of what lies behind it.
  vec3 color = vec3(0.0);
  for (int i = 0; i < 4; ++i)
    color += 0.25 * textureLod(image, (cell + 0.25 + 0.5 * vec2(i & 1, i >> 1)) / grid, 0.0).rgb;
  float blur = grid.y / size.y;
  float square = max(abs(off.x), abs(off.y)), away = mix(square, length(off), roundness);
  float lamp = smoothstep(0.42 + blur, 0.42 - blur, away) * (1.0 - 0.9 * away * away);
  pixel = vec4(board.rgb * (1.0 - lamp) + gain * color * (lamp + 0.06), texture(image, uv).a);
}
