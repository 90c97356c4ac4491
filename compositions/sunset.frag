#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float phase;
uniform float drive;
uniform float sunSize;
uniform bool stripes;
uniform vec4 sky;
uniform vec4 glow;
uniform vec4 sun;
uniform vec4 grid;

float scrambled(vec2 p) {
  vec3 q = fract(vec3(p.xyx) * 0.1031);
  q += dot(q, q.yzx + 33.33);
  return fract((q.x + q.y) * q.z);
}

float ridge(float x) {
  float whole = floor(x), part = x - whole;
  return mix(scrambled(vec2(whole, 3.0)), scrambled(vec2(whole + 1.0, 3.0)), part);
}

vec3 above(vec2 p, float edge) {
  vec3 color = mix(glow.rgb, sky.rgb, smoothstep(0.0, 0.42, p.y));
  vec2 cell = floor(p * 60.0);
  float star = step(0.985, scrambled(cell)) * smoothstep(0.35, 0.0, length(fract(p * 60.0) - 0.5));
  color += star * smoothstep(0.15, 0.4, p.y) * (0.6 + 0.4 * sin(phase + 50.0 * scrambled(cell + 9.0)));

  vec2 fromSun = p - vec2(0.0, 0.21);
  float away = length(fromSun) - sunSize;
  color += sun.rgb * 0.3 * exp(-7.0 * max(away, 0.0));
  float disc = smoothstep(edge, -edge, away);
  if (stripes) {
    float low = -fromSun.y / sunSize;  // 1 at the disc's bottom
    float band = fract(low * 6.0 - 0.1 * phase);
    disc *= 1.0 - smoothstep(-0.1, 0.05, low) * smoothstep(0.0, 0.06, 0.12 + 0.45 * low - band);
  }
  color = mix(color, mix(grid.rgb, sun.rgb, smoothstep(-0.9, 0.5, fromSun.y / sunSize)), disc);

  float hill = 0.02 + 0.13 * ridge(p.x * 5.0 + 40.0) * smoothstep(0.05, 0.7, abs(p.x));
  color = mix(color, sky.rgb * 0.35, smoothstep(edge, -edge, p.y - hill));
  return color + grid.rgb * 0.9 * smoothstep(2.5 * edge, 0.0, abs(p.y - hill));
}

vec3 below(vec2 p) {
  float depth = 0.12 / max(-p.y, 0.001);
  vec2 lines = vec2(p.x * depth * 9.0, depth * 8.0 + drive);
  // How much of a cell a pixel spans, the more the further away.
  float far = depth * depth / 0.12;
  vec2 blur = 1.2 * vec2(9.0 * (depth + abs(p.x) * far), 8.0 * far) / float(height) + 0.02;
  vec2 near = abs(fract(lines) - 0.5);
  vec2 line = smoothstep(0.5 - blur, vec2(0.5), near) + 0.35 * smoothstep(0.32, 0.5, near);
  float fade = exp(-0.35 * depth);
  vec3 color = mix(glow.rgb * 0.35, sky.rgb * 0.3, 1.0 - fade);
  color += grid.rgb * min(line.x + line.y, 1.4) * fade;
  return color + sun.rgb * 0.35 * exp(-9.0 * -p.y) * exp(-5.0 * abs(p.x));
}

void main() {
  vec2 p = (uv - vec2(0.5, 0.42)) * vec2(float(width) / float(height), 1.0);
  pixel = vec4(p.y > 0.0 ? above(p, 1.0 / float(height)) : below(p), 1.0);
}
