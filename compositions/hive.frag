#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float phase;
uniform float cells;
uniform float gap;
uniform vec2 center;
uniform vec4 dark;
uniform vec4 warm;
uniform vec4 bright;

const vec2 shape = vec2(1.0, 1.7320508);

float scrambled(vec2 p) {
  vec3 q = fract(vec3(p.xyx) * 0.1031);
  q += dot(q, q.yzx + 33.33);
  return fract((q.x + q.y) * q.z);
}

// The nearest of two lattices of rectangles makes hexagons.
vec4 hexagon(vec2 p) {
  vec2 one = floor(p / shape) + 0.5, two = floor((p - 0.5 * shape) / shape) + 1.0;
  vec2 off1 = p - one * shape, off2 = p - two * shape;
  return dot(off1, off1) < dot(off2, off2) ? vec4(off1, one) : vec4(off2, two);
}

float toEdge(vec2 p) {
  p = abs(p);
  return 0.5 - max(dot(p, 0.5 * shape), p.x);
}

void main() {
  vec2 aspect = vec2(float(width) / float(height), 1.0);
  vec4 hex = hexagon((uv - 0.5) * aspect * cells);
  float edge = toEdge(hex.xy);
  vec2 at = hex.zw * shape / cells - (center - 0.5) * aspect;
  float dice = scrambled(floor(hex.zw * 2.0));

  float wave = 0.5 + 0.5 * sin(9.0 * length(at) - 1.0 * phase + 1.5 * dice);
  float slow = 0.5 + 0.5 * sin(2.3 * at.x + 1.9 * at.y + 0.4 * phase);
  float power = wave * wave * (0.35 + 0.65 * slow) + 0.12 * dice;

  float blur = cells / float(height);
  float face = smoothstep(0.5 * gap - blur, 0.5 * gap + blur, edge);
  float bevel = smoothstep(0.0, 0.16, edge - 0.5 * gap);
  float lit = 0.75 + 0.5 * dot(normalize(hex.xy + 1e-5), vec2(-0.5, 0.8)) * (1.0 - bevel);
  vec3 color = mix(dark.rgb * 1.6, warm.rgb, smoothstep(0.05, 0.6, power));
  color = mix(color, bright.rgb, smoothstep(0.55, 1.1, power));
  color *= lit * (0.7 + 0.3 * bevel);
  vec3 between = dark.rgb * 0.35 + warm.rgb * 0.5 * power * power;
  pixel = vec4(mix(between, color, face), 1.0);
}
