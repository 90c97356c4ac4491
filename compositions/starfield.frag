#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float phase;
uniform float trip;
uniform float density;
uniform float streak;
uniform vec4 stars;
uniform vec4 nebula;

const float layers = 6.0;

vec3 scrambled(vec2 p) {
  vec3 q = fract(vec3(p.xyx) * vec3(0.1031, 0.1030, 0.0973));
  q += dot(q, q.yxz + 33.33);
  return fract((q.xxy + q.yzz) * q.zyx);
}

// One layer of stars, as near as `depth` says, from 0 far away to 1 behind us.
vec3 layer(vec2 p, float depth, float number) {
  vec2 toward = normalize(p + 1e-5);
  float scale = mix(18.0, 0.8, depth);
  vec2 grid = p * scale + number * 37.0;
  vec2 cell = floor(grid);
  vec3 dice = scrambled(cell);
  vec2 off = fract(grid) - 0.5 - 0.5 * (dice.xy - 0.5);
  // Longer along the way from the middle, more so the nearer it is.
  float along = dot(off, toward), across = dot(off, vec2(-toward.y, toward.x));
  along /= 1.0 + 5.0 * streak * depth;
  float away = sqrt(along * along + across * across);
  float light = smoothstep(0.09, 0.0, away) + 0.012 / (away * away * 30.0 + 0.05);
  light *= smoothstep(0.5, 0.2, max(abs(off.x), abs(off.y)));
  light *= step(1.0 - density, dice.z) * smoothstep(0.0, 0.25, depth) * smoothstep(1.0, 0.85, depth);
  return light * mix(stars.rgb, mix(vec3(1.0, 0.75, 0.5), vec3(0.6, 0.75, 1.0), dice.x), 0.5);
}

void main() {
  vec2 p = (uv - 0.5) * vec2(float(width) / float(height), 1.0);
  float turn = 0.1 * sin(0.1 * phase);
  p = mat2(cos(turn), sin(turn), -sin(turn), cos(turn)) * p;
  float haze = sin(3.0 * p.x + 2.0 * sin(2.3 * p.y + 0.1 * phase)) * sin(2.7 * p.y - 1.1 + sin(2.1 * p.x));
  float middle = length(p);
  vec3 color = nebula.rgb * (0.1 + 0.3 * smoothstep(-0.4, 1.0, haze) + 0.4 * exp(-5.0 * middle));
  for (float i = 0.0; i < layers; ++i) {
    float way = trip + i / layers;
    color += layer(p, fract(way), i + floor(way) * layers);
  }
  pixel = vec4(color, 1.0);
}
