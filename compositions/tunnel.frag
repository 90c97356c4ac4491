#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float phase;
uniform float trip;
uniform int segments;
uniform float twist;
uniform vec4 wall;
uniform vec4 lamp;
uniform vec4 end;

const float pi = 3.14159265;

float scrambled(vec2 p) {
  vec3 q = fract(vec3(p.xyx) * 0.1031);
  q += dot(q, q.yzx + 33.33);
  return fract((q.x + q.y) * q.z);
}

void main() {
  vec2 p = (uv - 0.5) * vec2(float(width) / float(height), 1.0);
  p += 0.06 * vec2(sin(0.3 * phase), cos(0.2 * phase));
  float r = max(length(p), 1e-4);
  float depth = 0.35 / r;
  float around = atan(p.y, p.x) / (2.0 * pi) + twist * 0.04 * depth + 0.05 * sin(0.1 * phase);
  vec2 tiles = vec2(around * float(segments), depth * 2.0 + trip);

  vec2 cell = vec2(mod(floor(tiles.x), float(segments)), floor(tiles.y));
  vec2 part = abs(fract(tiles) - 0.5);
  // From the depth and the angle themselves: across the seam of the angle a difference is no width.
  vec2 blur = vec2(float(segments) / (2.0 * pi * r), 2.0 * depth / r) / float(height);
  vec2 joint = smoothstep(0.47 + blur, 0.47 - blur, part);
  float face = joint.x * joint.y;

  float dice = scrambled(cell);
  float pulse = pow(0.5 + 0.5 * sin(0.6 * cell.y - 2.0 * phase), 4.0);
  float isLamp = step(0.8, dice);
  vec3 color = wall.rgb * (0.3 + 0.6 * dice) * (0.5 + 1.1 * pulse);
  color = mix(color, lamp.rgb * (0.8 + 1.0 * pulse), isLamp);
  color *= mix(0.25, 1.0, face) * (1.0 - 0.6 * max(part.x, part.y));

  float fog = exp(-0.045 * depth * depth);
  color = mix(end.rgb, color, fog);
  pixel = vec4(color + end.rgb * 0.04 / (r + 0.05), 1.0);
}
