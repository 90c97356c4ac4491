#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float phase;
uniform int strands;
uniform float wave;
uniform float glow;
uniform vec4 ground;
uniform vec4 left;
uniform vec4 right;

void main() {
  vec2 p = (uv - 0.5) * vec2(float(width) / float(height), 1.0);
  float edge = 1.5 / float(height);
  vec3 color = ground.rgb * (1.0 - 0.7 * abs(p.y));
  vec3 ink = mix(left.rgb, right.rgb, smoothstep(0.1, 0.9, uv.x + 0.1 * sin(0.3 * phase)));
  float pinch = 0.11 * cos(1.1 * p.x + 0.2 * phase), spread = 0.22 * sin(1.3 * p.x + 0.3 * phase);
  for (int i = 0; i < strands; ++i) {
    float k = float(i) / float(max(strands - 1, 1)) - 0.5;
    float y = wave * (0.20 * sin(1.9 * p.x + 0.4 * phase + 2.4 * k) +
                      pinch * sin(4.3 * p.x - 0.7 * phase + 5.0 * k)) +
              spread * k;
    float away = abs(p.y - y);
    float bright = 0.5 + 0.5 * cos(6.0 * k + 2.0 * p.x - 0.6 * phase);
    color += ink * (0.16 + 0.84 * bright) * (0.55 * smoothstep(edge, 0.0, away) + glow * 0.0009 / (away + 0.004));
  }
  pixel = vec4(color, 1.0);
}
