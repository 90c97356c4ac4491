#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float phase;
uniform float rise;
uniform float size;
uniform vec4 ground;
uniform vec4 warm;
uniform vec4 cool;

vec3 scrambled(vec2 p) {
  vec3 q = fract(vec3(p.xyx) * vec3(0.1031, 0.1030, 0.0973));
  q += dot(q, q.yxz + 33.33);
  return fract((q.xxy + q.yzz) * q.zyx);
}

// Discs of light out of focus, one in each cell of a grid that rises and stands askew.
vec3 lights(vec2 p, float cells, float blur, float number) {
  mat2 turn = mat2(cos(number), sin(number), -sin(number), cos(number));
  vec2 grid = turn * (p * cells - vec2(0.0, rise * (0.6 + 0.4 * number))) + 13.0 * number;
  vec3 sum = vec3(0.0);
  // No disc reaches further than its neighbours' middles, so four cells are enough.
  vec2 corner = floor(grid - 0.5);
  for (int y = 0; y <= 1; ++y) {
    for (int x = 0; x <= 1; ++x) {
      vec2 cell = corner + vec2(x, y);
      vec3 dice = scrambled(cell);
      vec2 at = cell + 0.5 + 0.28 * vec2(sin(6.28 * dice.x + 0.3 * phase), cos(6.28 * dice.y + 0.2 * phase));
      float r = size * (0.18 + 0.26 * dice.z);
      float away = length(grid - at);
      float disc = smoothstep(r, r - blur, away) * (0.55 + 0.45 * smoothstep(0.3 * r, r, away));
      float breath = 0.5 + 0.5 * sin(6.28 * dice.y + (0.4 + 0.1 * floor(5.0 * dice.x)) * phase);
      sum += disc * breath * mix(warm.rgb, cool.rgb, smoothstep(0.35, 0.75, dice.x));
    }
  }
  return sum;
}

void main() {
  vec2 p = (uv - 0.5) * vec2(float(width) / float(height), 1.0);
  vec3 color = ground.rgb * (1.15 - 0.8 * length(p - vec2(0.1, -0.2)));
  color += 0.13 * lights(p, 2.2, 0.12, 3.0);
  color += 0.30 * lights(p, 4.0, 0.06, 2.0);
  color += 0.60 * lights(p, 6.5, 0.05, 1.0);
  pixel = vec4(color, 1.0);
}
